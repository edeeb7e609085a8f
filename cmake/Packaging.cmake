# Installation and the Debian package. The executable looks for its helper files beside itself, so it lives in a folder
# of its own, with a link in bin/.
set(home ${CMAKE_INSTALL_LIBDIR}/qvora-sealed-bundle-builder)
set(tool QVORASealedBundleBuilder_CLI)
set(made ${PROJECT_BINARY_DIR}/packaging)
file(MAKE_DIRECTORY ${made})

install(TARGETS ${tool} RUNTIME DESTINATION ${home})
install(FILES Template/OBkeyPrototype.xsd Template/McuBootPrototype.xsd DESTINATION ${home}/Template)
install(PROGRAMS obkey/imgtool-launcher.sh DESTINATION ${home}/Utilities/Windows RENAME imgtool.exe)
# The command-line tool reads no device descriptions: they come with the desktop program alone.
install(FILES Data_Base/device.xsd Data_Base/example-0x455.xml Data_Base/example-0x505.xml
        DESTINATION ${home}/Data_Base COMPONENT desktop EXCLUDE_FROM_ALL)
file(RELATIVE_PATH link_target ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR}/qvora-sealed-bundle-builder/${tool})
file(CREATE_LINK ${link_target} ${made}/${tool} SYMBOLIC)
install(FILES ${made}/${tool} DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS qvora-inspect RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES README.md CHANGELOG.md LICENSE docs/formats.md docs/vectors.md docs/inspect.schema.json DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} PATTERN demo EXCLUDE)
install(PROGRAMS examples/demo DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)

if(NOT QVORA_SANITIZE)
  foreach(kind man completion)
    set(page ${made}/${tool}.${kind})
    add_custom_command(OUTPUT ${page}
      COMMAND ${PROJECT_SOURCE_DIR}/scripts/make-docs ${kind} $<TARGET_FILE:${tool}> > ${page}
      DEPENDS ${tool} ${PROJECT_SOURCE_DIR}/scripts/make-docs ${PROJECT_SOURCE_DIR}/examples/commands.tsv
              ${PROJECT_SOURCE_DIR}/examples/more-options.tsv VERBATIM)
    list(APPEND pages ${page})
  endforeach()
  foreach(kind man completion)
    set(page ${made}/qvora-inspect.${kind})
    add_custom_command(OUTPUT ${page}
      COMMAND ${PROJECT_SOURCE_DIR}/scripts/make-docs inspect-${kind} $<TARGET_FILE:qvora-inspect> > ${page}
      DEPENDS qvora-inspect ${PROJECT_SOURCE_DIR}/scripts/make-docs ${PROJECT_SOURCE_DIR}/examples/inspect.tsv
              ${PROJECT_SOURCE_DIR}/docs/inspect.schema.json VERBATIM)
    list(APPEND pages ${page})
  endforeach()
  install(FILES ${made}/qvora-inspect.man DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 RENAME qvora-inspect.1)
  install(FILES ${made}/qvora-inspect.completion DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
          RENAME qvora-inspect)
  add_custom_target(command-pages ALL DEPENDS ${pages})
  install(FILES ${made}/${tool}.man DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 RENAME ${tool}.1)
  install(FILES ${made}/${tool}.completion DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
          RENAME ${tool})
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qvora-sealed-bundle-builder)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "QVORA Sealed Bundle Builder developers <developers@qvora.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Package and provision firmware of secure microcontrollers")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "p11-kit-modules, opensc, python3-pip")
include(CPack)
