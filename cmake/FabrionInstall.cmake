# What `cmake --install` puts in place: the program with its manual page and completions; and, for
# programs that embed Fabrion, libraries, module, public headers, a CMake package and a pkg-config
# file. docs/embedding.md tells how they are used, tests/embed/embed.sh holds them to it.
#
# The installed tree can be moved: whatever refers to another part of it does so from where it
# stands itself. So all ways between folders are worked out here, once.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(fabrion_headers "${CMAKE_INSTALL_INCLUDEDIR}/fabrion")
set(fabrion_modules "${CMAKE_INSTALL_LIBDIR}/fabrion")
set(fabrion_package "${CMAKE_INSTALL_LIBDIR}/cmake/Fabrion")
set(fabrion_pkgconfig "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

# fabrion_way(RESULT FROM TO): the relative path between two folders of the installed tree.
function(fabrion_way result from to)
  foreach(end from to)
    if(NOT IS_ABSOLUTE "${${end}}")
      set(${end} "${CMAKE_INSTALL_PREFIX}/${${end}}")
    endif()
  endforeach()
  file(RELATIVE_PATH way "${from}" "${to}")
  string(REGEX REPLACE "/$" "" way "${way}")
  set(${result} "${way}" PARENT_SCOPE)
endfunction()

# --- libraries, module, program ------------------------------------------------------------------

# The number in the SONAME is the major version, the same for both libraries, and it rises when a
# program that was compiled against the public headers of an earlier release would no longer run
# right with the libraries of the new one without being compiled again. So it rises when
#   - an exported function or class goes, or a signature changes;
#   - the layout of a class in a public header changes: a member or a base, and so an attribute of
#     an entity, is added, removed, moved or changes its type;
#   - a virtual function is added, removed or moved;
#   - an inline function or a template changes so that an old copy of it, compiled into a program,
#     no longer works together with the library.
# It stays where functions, classes or headers are added and where only the inside of a .cc file
# changes. The module bears no number: it is found by its name, and since it needs both libraries by
# their SONAME, one of another number does not load.
set_target_properties(fabrion_platform fabrion_entities PROPERTIES
  VERSION "${PROJECT_VERSION}"
  SOVERSION "${PROJECT_VERSION_MAJOR}"
  INSTALL_RPATH "$ORIGIN")
set_target_properties(fabrion_platform PROPERTIES EXPORT_NAME platform)
set_target_properties(fabrion_entities PROPERTIES EXPORT_NAME entities)
target_include_directories(fabrion_platform INTERFACE $<INSTALL_INTERFACE:${fabrion_headers}>)
target_compile_features(fabrion_platform INTERFACE cxx_std_20)
install(TARGETS fabrion_platform fabrion_entities EXPORT FabrionTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")

fabrion_way(way "${fabrion_modules}" "${CMAKE_INSTALL_LIBDIR}")
set_target_properties(FabrionSm PROPERTIES INSTALL_RPATH "$ORIGIN/${way}")
# Not exported: it is loaded, not linked. The package has its path in a variable.
install(TARGETS FabrionSm LIBRARY DESTINATION "${fabrion_modules}")

fabrion_way(way "${CMAKE_INSTALL_BINDIR}" "${CMAKE_INSTALL_LIBDIR}")
set_target_properties(fabrion PROPERTIES INSTALL_RPATH "$ORIGIN/${way}")
install(TARGETS fabrion RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")

fabrion_way(way "${CMAKE_INSTALL_BINDIR}" "${fabrion_modules}")
set_source_files_properties("${PROJECT_SOURCE_DIR}/host/Module.cc" TARGET_DIRECTORY fabrion_host
  PROPERTIES COMPILE_DEFINITIONS FABRION_INSTALLED_MODULES="${way}")

# --- manual page, completions --------------------------------------------------------------------

# Written by the program as it is built: host/CMakeLists.txt.
install(FILES "${PROJECT_BINARY_DIR}/share/man/man1/fabrion.1"
  DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
install(FILES "${PROJECT_BINARY_DIR}/share/bash-completion/completions/fabrion"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")

# --- headers -------------------------------------------------------------------------------------

install(DIRECTORY "${PROJECT_SOURCE_DIR}/platform" "${PROJECT_SOURCE_DIR}/entities"
  DESTINATION "${fabrion_headers}" FILES_MATCHING PATTERN "*.h")
# The one type of the module that clients watch, and what its header needs. Machines are reached by
# name.
install(FILES "${PROJECT_SOURCE_DIR}/agent/FabrionSm.h"
              "${PROJECT_SOURCE_DIR}/agent/RemoteMountsStatus.h"
  DESTINATION "${fabrion_headers}/agent")

# --- CMake package, pkg-config file --------------------------------------------------------------

install(EXPORT FabrionTargets NAMESPACE Fabrion:: DESTINATION "${fabrion_package}")
set(fabrion_module "${fabrion_modules}/FabrionSm${CMAKE_SHARED_LIBRARY_SUFFIX}")
configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/FabrionConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/package/FabrionConfig.cmake"
  INSTALL_DESTINATION "${fabrion_package}" PATH_VARS fabrion_module)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/package/FabrionConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/package/FabrionConfig.cmake"
              "${PROJECT_BINARY_DIR}/package/FabrionConfigVersion.cmake"
  DESTINATION "${fabrion_package}")

fabrion_way(way_to_prefix "${fabrion_pkgconfig}" "${CMAKE_INSTALL_PREFIX}")
fabrion_way(way_to_libraries "${fabrion_pkgconfig}" "${CMAKE_INSTALL_LIBDIR}")
fabrion_way(way_to_modules "${fabrion_pkgconfig}" "${fabrion_modules}")
fabrion_way(way_to_headers "${fabrion_pkgconfig}" "${fabrion_headers}")
configure_file("${PROJECT_SOURCE_DIR}/cmake/fabrion.pc.in"
  "${PROJECT_BINARY_DIR}/package/fabrion.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/package/fabrion.pc" DESTINATION "${fabrion_pkgconfig}")
