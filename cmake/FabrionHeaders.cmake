# Target `headers`: every header compiles alone. One source of one line is written per header; a
# header that leans on what its includer happened to include first fails here, with its own name
# in the message. Not part of `all`, for it compiles each header once more; ./dev check builds it.

set(sources)
foreach(folder platform entities agent topology elements clients switch host)
  file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE "${PROJECT_SOURCE_DIR}"
       "${PROJECT_SOURCE_DIR}/${folder}/*.h")
  foreach(header IN LISTS headers)
    set(source "${PROJECT_BINARY_DIR}/headers/${header}.cc")
    file(CONFIGURE OUTPUT "${source}" CONTENT "#include \"${header}\"\n")
    list(APPEND sources "${source}")
  endforeach()
endforeach()

if(sources)
  add_library(headers OBJECT EXCLUDE_FROM_ALL ${sources})
  target_link_libraries(headers PRIVATE fabrion_options fabrion_host)
  target_compile_options(headers PRIVATE -O0 -g0)
  set_target_properties(headers PROPERTIES INTERPROCEDURAL_OPTIMIZATION OFF)
else()
  add_custom_target(headers)
endif()
