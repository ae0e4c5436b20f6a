# fabrion_folder(TARGET KIND [EXCEPT FILE...] [ON TARGET...])
#
# Makes the current folder's target out of all its .cc files, EXCEPT those named, standing ON the
# targets below it. KIND is SHARED, STATIC or OBJECT. A folder with headers alone becomes an
# INTERFACE target, so that whoever stands on it need not care. New files are noticed by the next
# build.
function(fabrion_folder target kind)
  cmake_parse_arguments(PARSE_ARGV 2 folder "" "" "EXCEPT;ON")
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.cc")
  foreach(file IN LISTS folder_EXCEPT)
    list(REMOVE_ITEM sources "${CMAKE_CURRENT_SOURCE_DIR}/${file}")
  endforeach()
  if(sources)
    add_library(${target} ${kind} ${sources})
    target_link_libraries(${target} PUBLIC ${folder_ON} PRIVATE fabrion_options)
  else()
    add_library(${target} INTERFACE)
    target_link_libraries(${target} INTERFACE ${folder_ON})
  endif()
endfunction()
