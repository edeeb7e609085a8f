# Flags of every target of this project. Headers of other projects are system headers, so that all
# warnings are about our code.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()
set(CMAKE_CXX_FLAGS_RELEASE "-O2")
set(CMAKE_CXX_FLAGS_DEBUG "-O1 -g1")

add_library(build-flags INTERFACE)
target_include_directories(build-flags INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(build-flags INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2
                       -Wold-style-cast -Werror)
target_compile_definitions(build-flags INTERFACE QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII
                           QT_NO_CAST_FROM_BYTEARRAY)

# The tool returns failures as values, so its code is compiled without exceptions.
add_library(tool-flags INTERFACE)
target_link_libraries(tool-flags INTERFACE build-flags)
target_compile_options(tool-flags INTERFACE -fno-exceptions)
target_compile_definitions(tool-flags INTERFACE QT_NO_EXCEPTIONS)

# A commit yields the same bytes in every build folder.
add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)

if(QVORA_SANITIZE)
  # One build is for both the tests and the fuzz targets. libFuzzer's coverage slows the tests down only a little.
  add_compile_options(-fsanitize=address,undefined,fuzzer-no-link -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined -fuse-ld=lld)
else()
  add_compile_options("$<$<CONFIG:Release>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=3>" -fstack-protector-strong)
  add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,--as-needed)
  # Only compilers for x86 have this option.
  include(CheckCXXCompilerFlag)
  check_cxx_compiler_flag(-fcf-protection QVORA_HAS_CF_PROTECTION)
  if(QVORA_HAS_CF_PROTECTION)
    add_compile_options(-fcf-protection)
  endif()
endif()

# Every build writes a source file with its release and commit. Only programs contain this file, so a new commit
# compiles no other file again.
set(build_version ${PROJECT_BINARY_DIR}/buildVersion.cpp)
add_custom_target(build-version BYPRODUCTS ${build_version}
  COMMAND ${CMAKE_COMMAND} -DSOURCE=${PROJECT_SOURCE_DIR} -DRELEASE=${PROJECT_VERSION} -DOUTPUT=${build_version}
          -P ${PROJECT_SOURCE_DIR}/cmake/writeBuildVersion.cmake VERBATIM)

# name_build(target): adds buildVersion to a program.
function(name_build target)
  target_sources(${target} PRIVATE ${build_version})
  set_source_files_properties(${build_version} PROPERTIES GENERATED ON SKIP_PRECOMPILE_HEADERS ON SKIP_AUTOMOC ON)
  add_dependencies(${target} build-version)
endfunction()

# Headers that most sources of a kind include are precompiled. Sources still include all headers that they use, because
# scripts/check builds with QVORA_PRECOMPILE off.
#
# shared_headers(name HEADERS header... LINK target...): makes a set of precompiled headers.
function(shared_headers name)
  cmake_parse_arguments(ARG "" "" "HEADERS;LINK" ${ARGN})
  add_library(${name} OBJECT ${PROJECT_SOURCE_DIR}/cmake/sharedHeaders.cpp)
  target_link_libraries(${name} PRIVATE build-flags ${ARG_LINK})
  if(QVORA_PRECOMPILE)
    target_precompile_headers(${name} PRIVATE ${ARG_HEADERS})
  endif()
endfunction()

# share_headers(target name): compiles the target's sources with a set of shared headers.
function(share_headers target name)
  if(QVORA_PRECOMPILE)
    target_precompile_headers(${target} REUSE_FROM ${name})
  endif()
endfunction()

# tool_library(name [HEADERS set] SOURCES file... [LINK target...]): one room of the tool.
function(tool_library name)
  cmake_parse_arguments(ARG "" "HEADERS" "SOURCES;LINK" ${ARGN})
  if(NOT ARG_HEADERS)
    set(ARG_HEADERS core-headers)
  endif()
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC build-flags ${ARG_LINK} PRIVATE tool-flags)
  share_headers(${name} ${ARG_HEADERS})
endfunction()
