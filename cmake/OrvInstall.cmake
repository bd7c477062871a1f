# What an installed tree holds beside the programs: a CMake package, a pkg-config file, the manual page, completion and pages.
# All are found from wherever the tree stands.
include(CMakePackageConfigHelpers)

set(place ${CMAKE_INSTALL_LIBDIR}/cmake/orv)
install(EXPORT orvTargets NAMESPACE orv:: FILE orvConfig.cmake DESTINATION ${place})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/orvConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/orvConfigVersion.cmake DESTINATION ${place})

# From the pkg-config folder back to the prefix.
file(RELATIVE_PATH ORV_PC_UP /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/orv.pc.in orv.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/orv.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

foreach(page man completion)
    add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/orv.${page} COMMAND orv_tool help --${page} > ${CMAKE_BINARY_DIR}/orv.${page}
        DEPENDS orv_tool VERBATIM)
endforeach()
add_custom_target(orv_pages ALL DEPENDS ${CMAKE_BINARY_DIR}/orv.man ${CMAKE_BINARY_DIR}/orv.completion)
install(FILES ${CMAKE_BINARY_DIR}/orv.man DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 RENAME orv.1)
install(FILES ${CMAKE_BINARY_DIR}/orv.completion DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME orv)
install(FILES docs/operations.md docs/tutorial.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
