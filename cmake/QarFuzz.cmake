# Fuzz targets, one a file. Each replays its corpus as a test. To search for new inputs:
#   cmake -B build/fuzz -G Ninja -DQAR_FUZZ=ON -DCMAKE_CXX_COMPILER=clang++ -DQAR_SANITIZE=address-undefined \
#         -DCMAKE_CXX_FLAGS=-fsanitize=fuzzer-no-link
#   ninja -C build/fuzz site_file_fuzz && build/fuzz/bin/site_file_fuzz -max_total_time=60 tests/fuzz/corpus/site_file
option(QAR_FUZZ "Link the fuzz targets with libFuzzer (clang)" OFF)

qar_sources(sources FOLDER tests/fuzz FLAT EXCLUDE tests/fuzz/replay.cpp)
foreach(source IN LISTS sources)
    cmake_path(GET source STEM name)
    string(REPLACE "_fuzz" "" corpus "${name}")
    add_executable(${name} "${source}")
    target_link_libraries(${name} PRIVATE qarplatform)
    target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}/platform")
    if(QAR_FUZZ)
        target_link_options(${name} PRIVATE -fsanitize=fuzzer)
        add_test(NAME fuzz.${corpus} COMMAND ${name} -runs=0 "${CMAKE_SOURCE_DIR}/tests/fuzz/corpus/${corpus}")
    else()
        target_sources(${name} PRIVATE "${CMAKE_SOURCE_DIR}/tests/fuzz/replay.cpp")
        add_test(NAME fuzz.${corpus} COMMAND ${name} "${CMAKE_SOURCE_DIR}/tests/fuzz/corpus/${corpus}")
    endif()
endforeach()
