# How every target of this project is compiled, and where its file goes.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()

# One folder for libraries and one below it for the modules that are loaded at run time, in the build tree as in
# the installed one, so that a library finds its modules beside itself.
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(MDID_MODULE_SUBDIR mdid)

set(MDID_SANITIZE "" CACHE STRING "Sanitizers to build with, for example address,undefined")

add_library(MdidOptions INTERFACE)
target_compile_options(MdidOptions INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Werror
  # A function of a library may be inlined into the others of it: nobody replaces it from outside.
  -fno-semantic-interposition
  # g++ 12 sees overlaps in std::string that are not there.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  "-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=")
if(MDID_SANITIZE)
  target_compile_options(MdidOptions INTERFACE -fsanitize=${MDID_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  # Instrumented, g++ 12 takes parts of std::function and std::regex for uninitialised.
  target_compile_options(MdidOptions INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(MdidOptions INTERFACE -fsanitize=${MDID_SANITIZE})
endif()
if(MDID_BUILD_FUZZERS)
  target_compile_options(MdidOptions INTERFACE -fsanitize=fuzzer-no-link)
endif()

# mdid_add_library(<folder> <alias> <SHARED|STATIC> [<room>...]): one folder is one library; every .cpp in it, and in the
# folders of it that are named as its rooms, belongs to it.
function(mdid_add_library name alias kind)
  set(places ${CMAKE_CURRENT_SOURCE_DIR})
  foreach(room IN LISTS ARGN)
    list(APPEND places ${CMAKE_CURRENT_SOURCE_DIR}/${room})
  endforeach()
  set(patterns ${places})
  list(TRANSFORM patterns APPEND "/*.cpp")
  file(GLOB sources CONFIGURE_DEPENDS ${patterns})
  add_library(${name} ${kind} ${sources})
  add_library(Mdid::${alias} ALIAS ${name})
  set_target_properties(${name} PROPERTIES
    EXPORT_NAME ${alias} VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} INSTALL_RPATH "$ORIGIN")
  target_compile_features(${name} PUBLIC cxx_std_20)
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/NewFileLibs> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:MdidOptions>)
  install(TARGETS ${name} EXPORT MdidTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${name}
    FILES_MATCHING PATTERN "*.h" PATTERN "*_Private.h" EXCLUDE)
endfunction()

# mdid_add_module(<target> <file name> <folder below the module folder> <sources>...)
function(mdid_add_module name file subdir)
  add_library(${name} MODULE ${ARGN})
  set_target_properties(${name} PROPERTIES
    PREFIX "" OUTPUT_NAME ${file} INSTALL_RPATH "$ORIGIN/.."
    LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib/${MDID_MODULE_SUBDIR}/${subdir})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/NewFileLibs)
  target_link_libraries(${name} PRIVATE MdidOptions)
  install(TARGETS ${name} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/${MDID_MODULE_SUBDIR}/${subdir})
endfunction()
