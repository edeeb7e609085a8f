# Flags of every target of this project. Outside headers come in as system headers, so warnings are ours alone.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()
set(CMAKE_CXX_FLAGS_RELEASE "-O2")
set(CMAKE_CXX_FLAGS_DEBUG "-O1 -g")

add_library(build-flags INTERFACE)
target_include_directories(build-flags INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(build-flags INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2
                       -Wold-style-cast -Werror)
target_compile_definitions(build-flags INTERFACE QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII
                           QT_NO_CAST_FROM_BYTEARRAY)

# A failure is a value here, never an exception: the tool's own code is compiled without them.
add_library(tool-flags INTERFACE)
target_link_libraries(tool-flags INTERFACE build-flags)
target_compile_options(tool-flags INTERFACE -fno-exceptions)
target_compile_definitions(tool-flags INTERFACE QT_NO_EXCEPTIONS)

# The same commit gives the same bytes, wherever it is built.
add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)

if(QVORA_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
  if(QVORA_FUZZ)
    # Warnings are held against one compiler, g++; clang has others.
    add_compile_options(-fsanitize=fuzzer-no-link)
    target_compile_options(build-flags INTERFACE -Wno-error)
  endif()
else()
  add_compile_options($<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2> -fstack-protector-strong)
  add_link_options(-Wl,-z,relro -Wl,--as-needed)
endif()

# tool_library(name SOURCES file... [LINK target...]): one room of the tool.
function(tool_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC build-flags ${ARG_LINK} PRIVATE tool-flags)
endfunction()
