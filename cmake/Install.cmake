# What `cmake --install` puts where, what find_package(kestrel) finds there, and the Debian package.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(KESTREL_MODULE_DIR ${CMAKE_INSTALL_LIBDIR}/kestrel)
set(KESTREL_INCLUDE_DIR ${CMAKE_INSTALL_INCLUDEDIR}/kestrel)
set(KESTREL_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/kestrel)

# The public headers lie in folders of their own, as here, so that sources of examples compile in both places.
install(FILES host/host_interface.h host/module_extension.h DESTINATION ${KESTREL_INCLUDE_DIR}/host)
install(FILES sdk/kestrel_agent.h DESTINATION ${KESTREL_INCLUDE_DIR}/sdk)
foreach(HEADERS host agent)
    add_library(kestrel_${HEADERS}_headers INTERFACE)
    set_target_properties(kestrel_${HEADERS}_headers PROPERTIES EXPORT_NAME ${HEADERS})
    target_include_directories(kestrel_${HEADERS}_headers INTERFACE
        $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}> $<INSTALL_INTERFACE:${KESTREL_INCLUDE_DIR}>)
    install(TARGETS kestrel_${HEADERS}_headers EXPORT kestrel-targets)
endforeach()

# The engine as a library for programs that embed it.
set_target_properties(kestrel_script_shared PROPERTIES EXPORT_NAME script)
install(TARGETS kestrel_script_shared EXPORT kestrel-targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES script/include/kestrel/script.h DESTINATION ${KESTREL_INCLUDE_DIR})

# The module is loaded, never linked: hosts ask the target for its file.
set_target_properties(kestrel_pt PROPERTIES EXPORT_NAME module)
install(TARGETS kestrel_pt EXPORT kestrel-targets LIBRARY DESTINATION ${KESTREL_MODULE_DIR})
if(TARGET kestrel)
    set_target_properties(kestrel PROPERTIES EXPORT_NAME command)
    install(TARGETS kestrel EXPORT kestrel-targets RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

install(EXPORT kestrel-targets NAMESPACE kestrel:: DESTINATION ${KESTREL_PACKAGE_DIR})
configure_package_config_file(cmake/kestrel-config.cmake.in ${CMAKE_BINARY_DIR}/kestrel-config.cmake
    INSTALL_DESTINATION ${KESTREL_PACKAGE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/kestrel-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/kestrel-config.cmake ${CMAKE_BINARY_DIR}/kestrel-config-version.cmake
    DESTINATION ${KESTREL_PACKAGE_DIR})

# Examples and documents keep their places to each other, for the links between them.
install(FILES README.md CHANGELOG.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} PATTERN CMakeLists.txt EXCLUDE)

# The manual page and completion are made by the command, from its own options.
if(TARGET kestrel)
    set(PAGES ${CMAKE_BINARY_DIR}/pages)
    set(MADE)
    function(kestrel_page NAME DESTINATION)
        add_custom_command(OUTPUT ${PAGES}/${NAME}
            COMMAND ${CMAKE_COMMAND} -E make_directory ${PAGES}
            COMMAND $<TARGET_FILE:kestrel> help ${ARGN} > ${PAGES}/${NAME}
            DEPENDS kestrel VERBATIM)
        set(MADE ${MADE} ${PAGES}/${NAME} PARENT_SCOPE)
        install(FILES ${PAGES}/${NAME} DESTINATION ${DESTINATION})
    endfunction()
    kestrel_page(kestrel.1 ${CMAKE_INSTALL_MANDIR}/man1 --man)
    kestrel_page(kestrel ${CMAKE_INSTALL_DATADIR}/bash-completion/completions --completion bash)
    kestrel_page(_kestrel ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions --completion zsh)
    kestrel_page(kestrel.fish ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d --completion fish)
    add_custom_target(kestrel_pages ALL DEPENDS ${MADE})
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kestrel)
set(CPACK_PACKAGE_VENDOR "Kestrel maintainers")
set(CPACK_PACKAGE_CONTACT "Kestrel maintainers <maintainers@kestrel.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "scripting language for procedural surfaces, with a renderer to look at them")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_RESOURCE_FILE_LICENSE ${CMAKE_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
include(CPack)
