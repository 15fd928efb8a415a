set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)
find_package(Boost 1.74 REQUIRED COMPONENTS thread)
find_package(SQLite3 3.40 REQUIRED)
find_package(OpenSSL 3.0 REQUIRED)
find_package(CLI11 REQUIRED)

# spdlog and toml++ are used as compiled libraries; their pkg-config flags say so and spare most of the compile time.
find_package(PkgConfig REQUIRED)
pkg_check_modules(spdlog REQUIRED IMPORTED_TARGET GLOBAL spdlog)
pkg_check_modules(tomlplusplus REQUIRED IMPORTED_TARGET GLOBAL tomlplusplus)
pkg_check_modules(rapidjson REQUIRED IMPORTED_TARGET GLOBAL RapidJSON)

find_package(GTest REQUIRED)
