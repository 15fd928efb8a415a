# What others need: headers, libraries, the host with its plug-ins, the CMake package, documents.
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/QARCommon")

install(DIRECTORY include/qar TYPE INCLUDE FILES_MATCHING PATTERN "*.h")
install(DIRECTORY platform/interface/ DESTINATION "${QAR_INSTALL_PLATFORM_DIR}" FILES_MATCHING PATTERN "*.h")
install(DIRECTORY platform/mock DESTINATION "${QAR_INSTALL_PLATFORM_DIR}" FILES_MATCHING PATTERN "*.h")
install(DIRECTORY host/include/qarhost TYPE INCLUDE FILES_MATCHING PATTERN "*.h")
install(DIRECTORY docs/ TYPE DOC FILES_MATCHING PATTERN "*.md")
install(FILES README.md CHANGELOG.md TYPE DOC)

set_target_properties(QARCommon qarplatform PROPERTIES INSTALL_RPATH "$ORIGIN")
set_target_properties(qarhost PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
set_target_properties(backfill PROPERTIES INSTALL_RPATH "$ORIGIN/../..")

install(TARGETS PlatformInterface QARCommon qarplatform EXPORT QARCommonTargets)
install(TARGETS MockPlatform EXPORT QARCommonMockTargets)
install(TARGETS qarhost)
install(TARGETS backfill DESTINATION "${CMAKE_INSTALL_LIBDIR}/qarhost/plugins")

install(EXPORT QARCommonTargets NAMESPACE QARCommon:: DESTINATION "${package_dir}")
install(EXPORT QARCommonMockTargets NAMESPACE QARCommon:: DESTINATION "${package_dir}")
configure_package_config_file(cmake/QARCommonConfig.cmake.in "${CMAKE_BINARY_DIR}/QARCommonConfig.cmake"
                              INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file("${CMAKE_BINARY_DIR}/QARCommonConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_BINARY_DIR}/QARCommonConfig.cmake" "${CMAKE_BINARY_DIR}/QARCommonConfigVersion.cmake"
        DESTINATION "${package_dir}")
