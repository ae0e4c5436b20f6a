# The loadable module: FabrionSm.so, all machines in one shared library. It is no MODULE library
# for CMake, since the machines' tests link it directly; the program loads it by name.

set(machines fabrion_agent fabrion_clients fabrion_elements fabrion_topology fabrion_switch)
set(parts)
foreach(machine IN LISTS machines)
  get_target_property(kind ${machine} TYPE)
  if(kind STREQUAL "OBJECT_LIBRARY")
    list(APPEND parts ${machine})
  endif()
endforeach()

if(parts)
  add_library(FabrionSm SHARED)
  set_target_properties(FabrionSm PROPERTIES PREFIX "" OUTPUT_NAME FabrionSm)
  # Whole objects, never an archive: the module registers itself from objects that nobody calls.
  target_link_libraries(FabrionSm PRIVATE fabrion_options ${parts} PUBLIC fabrion_entities)
endif()
