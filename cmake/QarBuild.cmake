# Compiler settings of every target, and short forms for targets made of whole folders.

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

# A log line carries the path of its source relative to the project, wherever that was built.
add_compile_options("-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=" -Wall -Wextra -Wconversion)
if(QAR_WERROR)
    add_compile_options(-Werror)
endif()

if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    add_compile_options("SHELL:-Xclang -fno-pch-timestamp")
    add_link_options(-fuse-ld=lld)
else()
    add_compile_options(-fpch-preprocess)
endif()

if(QAR_SANITIZE STREQUAL "address-undefined")
    # Types cross library borders with hidden visibility, and RapidJSON adds to null pointers: those two checks report
    # what is no fault.
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        add_compile_options(-fno-sanitize=function,pointer-overflow)
    endif()
elseif(QAR_SANITIZE STREQUAL "thread")
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
elseif(QAR_SANITIZE)
    message(FATAL_ERROR "QAR_SANITIZE is \"${QAR_SANITIZE}\"; known are address-undefined and thread")
endif()

if(QAR_COVERAGE)
    add_compile_options(--coverage)
    add_link_options(--coverage)
endif()

# ccache takes precompiled headers only when told that their time stamps do not matter.
find_program(QAR_CCACHE ccache)
if(QAR_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER
        "${CMAKE_COMMAND}" -E env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
        "${QAR_CCACHE}")
endif()

# qar_sources(<out> FOLDER <dir> [EXCLUDE <file>...] [FLAT]): the sources of a folder, or of it alone with FLAT
function(qar_sources out)
    cmake_parse_arguments(PARSE_ARGV 1 arg "FLAT" "FOLDER" "EXCLUDE")
    if(arg_FLAT)
        file(GLOB found CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/${arg_FOLDER}/*.cpp")
    else()
        file(GLOB_RECURSE found CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/${arg_FOLDER}/*.cpp")
    endif()
    foreach(file IN LISTS arg_EXCLUDE)
        list(REMOVE_ITEM found "${CMAKE_SOURCE_DIR}/${file}")
    endforeach()
    set(${out} "${found}" PARENT_SCOPE)
endfunction()

# qar_add_library(<name> OBJECT|STATIC|SHARED FOLDER <dir> [EXCLUDE <file>...]): a library of all sources of a folder
function(qar_add_library name kind)
    qar_sources(sources ${ARGN})
    add_library(${name} ${kind} ${sources})
endfunction()

# qar_add_plugin(<name> <output folder> <file>): a module <name>.so that sees what is installed and nothing else
function(qar_add_plugin name folder file)
    add_library(${name} MODULE "${file}")
    set_target_properties(${name} PROPERTIES PREFIX "" LIBRARY_OUTPUT_DIRECTORY "${folder}" CXX_VISIBILITY_PRESET hidden
                                             VISIBILITY_INLINES_HIDDEN ON)
    target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}/host/include")
    target_link_libraries(${name} PRIVATE QARCommon PlatformInterface)
endfunction()
