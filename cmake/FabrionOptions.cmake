# How every file of ours is compiled. What holds for one preset only stands in CMakePresets.json.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# The machine folders are object libraries that end in a shared one.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# Program, module and libraries lie side by side and find each other from there, so the folder can
# be moved and no path of the building machine is needed at run time.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
# Some linkers write the older RPATH unless told, which nobody could override from outside.
add_link_options(-Wl,--enable-new-dtags)

find_program(FABRION_CCACHE ccache)
if(FABRION_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${FABRION_CCACHE}")
endif()

# For our own targets alone; libraries of the system come in as SYSTEM includes and stay unjudged.
add_library(fabrion_options INTERFACE)
target_include_directories(fabrion_options INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(fabrion_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
target_compile_definitions(fabrion_options INTERFACE $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # g++ 12 warns about overlapping copies inside std::string's own operator+ once it inlines it.
  target_compile_options(fabrion_options INTERFACE -Wno-restrict)
endif()

# No path of the building machine in a binary, neither from __FILE__ nor from debug information.
add_compile_options("-ffile-prefix-map=${PROJECT_SOURCE_DIR}/="
                    "-ffile-prefix-map=${PROJECT_BINARY_DIR}=.")

# Symbols stay visible by default: exceptions and RTTI pass between program, module and libraries.
# The libraries do not mean to be interposed, so calls inside one of them may be inlined.
add_compile_options($<$<CONFIG:Release>:-fno-semantic-interposition>)

if(FABRION_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
  add_compile_definitions(FABRION_SANITIZED=1)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # The checks that are woven in make g++ lose track of what has been set.
    target_compile_options(fabrion_options INTERFACE -Wno-maybe-uninitialized)
  endif()
endif()

# A library that misses a symbol fails when it is linked, not when it is loaded. With clang the
# sanitizers' runtime is in the program alone, so there the libraries do miss symbols.
if(NOT (FABRION_SANITIZE AND CMAKE_CXX_COMPILER_ID MATCHES "Clang"))
  set(CMAKE_SHARED_LINKER_FLAGS "${CMAKE_SHARED_LINKER_FLAGS} -Wl,-z,defs")
endif()

if(FABRION_LTO)
  include(CheckIPOSupported)
  check_ipo_supported(RESULT fabrion_has_lto OUTPUT fabrion_lto_answer LANGUAGES CXX)
  if(fabrion_has_lto)
    set(CMAKE_INTERPROCEDURAL_OPTIMIZATION ON)
  else()
    message(STATUS "No link-time optimisation: ${fabrion_lto_answer}")
  endif()
endif()
