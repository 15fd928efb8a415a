# Test programs. Each case runs in a process of its own, as the library's singletons live as long as the process.

# qar_add_test_program(<name> <sources> [library...])
function(qar_add_test_program name sources)
    add_executable(${name} ${sources})
    target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}" "${CMAKE_SOURCE_DIR}/tests"
                                               "${CMAKE_SOURCE_DIR}/include" "${CMAKE_SOURCE_DIR}/src"
                                               "${CMAKE_SOURCE_DIR}/platform")
    target_link_libraries(${name} PRIVATE PlatformInterface ${ARGN} GTest::gmock GTest::gmock_main)
    target_precompile_headers(${name} PRIVATE "${CMAKE_SOURCE_DIR}/cmake/test_pch.h")
    target_compile_options(${name} PRIVATE -O0) # matchers and mocks take twice as long to compile optimised
    if(QAR_SANITIZE STREQUAL "address-undefined")
        # The checks are there for what is tested; in the tests they take a third of the time to compile.
        target_compile_options(${name} PRIVATE -fno-sanitize=undefined)
    endif()
    gtest_discover_tests(
        ${name}
        DISCOVERY_MODE PRE_TEST
        DISCOVERY_TIMEOUT 60
        TEST_PREFIX "${name}."
        PROPERTIES TIMEOUT 240)
endfunction()

# qar_precompile_mocks(<name>): for programs whose every source has the mocks, which take seconds to read
function(qar_precompile_mocks name)
    target_precompile_headers(${name} PRIVATE "${CMAKE_SOURCE_DIR}/platform/mock/Platform.h")
endfunction()

# qar_leave_threaded(<list of sources>): takes out the tests that never speak of threads, for the thread sanitizer, which
# has nothing to find in them and is slow to build
function(qar_leave_threaded list)
    set(left "")
    foreach(source IN LISTS ${list})
        file(STRINGS "${source}" threads REGEX "thread|async" LIMIT_COUNT 1)
        if(threads OR NOT source MATCHES "_test\\.cpp$")
            list(APPEND left "${source}")
        endif()
    endforeach()
    set(${list} "${left}" PARENT_SCOPE)
endfunction()

qar_sources(sources FOLDER tests/unit)
if(QAR_SANITIZE STREQUAL "thread")
    qar_leave_threaded(sources)
endif()
qar_add_test_program(unit_tests "${sources}" qar_objects MockPlatform)
qar_precompile_mocks(unit_tests)
target_link_options(unit_tests PRIVATE LINKER:--wrap=_ZnwmRKSt9nothrow_t) # tests/unit/qarcommonbiz/nothrow_new.cpp

# Random sequences beside a model of the state history. QAR_SEQUENCES and QAR_SEED set others at run time.
if(NOT QAR_SANITIZE STREQUAL "thread") # they run on one
    qar_sources(sources FOLDER tests/model)
    qar_add_test_program(model_tests "${sources}" qar_objects MockPlatform)
    qar_precompile_mocks(model_tests)
    target_compile_options(model_tests PRIVATE -O1) # the sequences cost more than the compiling
endif()

qar_sources(shared_sources FOLDER tests/platform FLAT)
qar_sources(sources FOLDER tests/platform/mock)
list(APPEND sources ${shared_sources})
qar_add_test_program(platform_tests_mock "${sources}" MockPlatform)
qar_sources(sources FOLDER tests/platform/standalone)
list(APPEND sources ${shared_sources})
qar_add_test_program(platform_tests_standalone "${sources}" qarplatform SQLite::SQLite3 Threads::Threads)

# Every operation of the interface headers occurs in that suite.
set(covered "${CMAKE_SOURCE_DIR}/tests/platform/operations_covered.pl")
add_test(NAME platform_tests.operations_covered COMMAND "${covered}" "${CMAKE_SOURCE_DIR}/platform/interface"
                                                        "${CMAKE_SOURCE_DIR}/tests/platform")
add_test(NAME platform_tests.operations_covered_finds_a_gap COMMAND "${covered}" --self-test
                                                                    "${CMAKE_SOURCE_DIR}/tests/platform")

qar_sources(sources FOLDER tests/standalone)
qar_add_test_program(standalone_tests "${sources}" qarplatform_objects qarhost_core backfill_core demo_cameras_core
                     demo_run_core QARCommon)

# The library over the standalone platform and its database. The tests put something in the place of two of the
# platform's functions, so the platform is the shared library.
qar_sources(sources FOLDER tests/history)
qar_add_test_program(history_tests "${sources}" qar_objects qarplatform SQLite::SQLite3 Threads::Threads)

qar_sources(sources FOLDER tests/contract)
qar_add_test_program(contract_tests "${sources}" QARCommon qarplatform)

# What the guide quotes is compiled.
set(quoted "${CMAKE_SOURCE_DIR}/tests/contract/doc_examples.pl")
add_test(NAME contract_tests.guide_quotes_compiled_code
         COMMAND "${quoted}" "${CMAKE_SOURCE_DIR}/docs/plugin-guide.md"
                 "${CMAKE_SOURCE_DIR}/examples/doorbell/doorbell.cpp")
add_test(NAME contract_tests.guide_quotes_compiled_code_finds_drift COMMAND "${quoted}" --self-test)

# One module per file.
qar_sources(sources FOLDER tests/integration/plugins FLAT)
set(test_plugins "")
foreach(source IN LISTS sources)
    cmake_path(GET source STEM name)
    qar_add_plugin(${name} "${QAR_TEST_PLUGIN_DIR}" "${source}")
    list(APPEND test_plugins ${name})
endforeach()

# What the tests of a running host share.
qar_add_library(host_test_support OBJECT FOLDER tests/integration/support)
target_include_directories(host_test_support PRIVATE "${CMAKE_SOURCE_DIR}" "${CMAKE_SOURCE_DIR}/tests"
                                                     "${CMAKE_SOURCE_DIR}/include" "${CMAKE_SOURCE_DIR}/platform")
target_link_libraries(host_test_support PUBLIC demo_cameras_core PlatformInterface SQLite::SQLite3
                                               PkgConfig::rapidjson Threads::Threads GTest::gmock)
target_compile_options(host_test_support PRIVATE -O0)
target_compile_definitions(
    host_test_support PUBLIC QARHOST_PATH="$<TARGET_FILE:qarhost>" PLUGIN_DIR="${QAR_PLUGIN_DIR}"
                             TEST_PLUGIN_DIR="${QAR_TEST_PLUGIN_DIR}"
                             WEBSOCKET_CLIENT="${CMAKE_SOURCE_DIR}/tests/integration/support/websocket_client.py")

# qar_add_host_tests(<name> <sources> [library...]): tests of a running host
function(qar_add_host_tests name sources)
    qar_add_test_program(${name} "${sources}" host_test_support ${ARGN})
    add_dependencies(${name} qarhost backfill doorbell ${test_plugins})
endfunction()

qar_sources(sources FOLDER tests/integration FLAT)
qar_add_host_tests(integration_tests "${sources}")

# Thousands of devices; QAR_DEVICES tells how many.
qar_sources(sources FOLDER tests/devices)
qar_add_host_tests(device_load_tests "${sources}" qarplatform_objects)

# Many clients of a front, and hostile ones; QAR_LOAD_SECONDS and QAR_IDLE_CONNECTIONS tell how long and how many.
qar_sources(sources FOLDER tests/load)
list(APPEND sources tests/standalone/http/raw_client.cpp tests/standalone/http/push_client.cpp)
qar_add_host_tests(front_load_tests "${sources}" OpenSSL::SSL OpenSSL::Crypto)
target_compile_definitions(front_load_tests PRIVATE $<$<BOOL:${QAR_SANITIZE}>:QAR_SANITIZED>)

# A host that is ended at random moments; QAR_KILLS and QAR_STOPS tell how often.
qar_sources(sources FOLDER tests/kill/plugins FLAT)
foreach(source IN LISTS sources)
    cmake_path(GET source STEM name)
    qar_add_plugin(${name} "${QAR_TEST_PLUGIN_DIR}" "${source}")
    list(APPEND test_plugins ${name})
endforeach()
target_include_directories(statement_record PRIVATE "${CMAKE_SOURCE_DIR}/tests")

qar_sources(sources FOLDER tests/kill FLAT)
qar_sources(kill_support FOLDER tests/kill/support)
list(APPEND sources ${kill_support})
qar_add_host_tests(kill_tests "${sources}")

# Device days by clock scale; QAR_SOAK_CAMERAS, QAR_SOAK_DAYS, QAR_SOAK_SCALE, QAR_SOAK_PROBE_S and QAR_SOAK_SEED set the
# run.
qar_sources(sources FOLDER tests/soak)
qar_add_host_tests(soak_tests "${sources}")
target_compile_definitions(soak_tests PRIVATE $<$<BOOL:${QAR_SANITIZE}>:QAR_SANITIZED>)
