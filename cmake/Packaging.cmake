# Installation and the Debian package. The executable looks for its helper files beside itself, so it lives in a folder
# of its own, with a link in bin/.
set(home ${CMAKE_INSTALL_LIBDIR}/qvora-sealed-bundle-builder)
set(tool QVORASealedBundleBuilder_CLI)
set(made ${PROJECT_BINARY_DIR}/packaging)
file(MAKE_DIRECTORY ${made})

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME tool)
install(TARGETS ${tool} RUNTIME DESTINATION ${home})
install(FILES Template/OBkeyPrototype.xsd Template/McuBootPrototype.xsd DESTINATION ${home}/Template)
install(PROGRAMS obkey/imgtool-launcher.sh DESTINATION ${home}/Utilities/Windows RENAME imgtool.exe)
file(RELATIVE_PATH link_target ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR}/qvora-sealed-bundle-builder/${tool})
file(CREATE_LINK ${link_target} ${made}/${tool} SYMBOLIC)
install(FILES ${made}/${tool} DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS qvora-inspect RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES README.md CHANGELOG.md CONTRIBUTING.md LICENSE SECURITY.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR})
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

# The desktop program is a package of its own, and needs the tool's. The device descriptions come with it alone: the
# command-line tool reads none.
if(QVORA_DESKTOP)
  set(window QVORASealedBundleBuilder)
  set(window_id com.qvora.SealedBundleBuilder)
  file(RELATIVE_PATH link_target ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR}/qvora-sealed-bundle-builder/${window})
  file(CREATE_LINK ${link_target} ${made}/${window} SYMBOLIC)
  set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME desktop)
  install(TARGETS ${window} RUNTIME DESTINATION ${home})
  install(FILES Data_Base/device.xsd Data_Base/example-0x455.xml Data_Base/example-0x505.xml DESTINATION ${home}/Data_Base)
  install(FILES ${made}/${window} DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES desktop/package/${window_id}.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
  install(FILES desktop/package/${window_id}.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
  install(FILES desktop/package/${window_id}.svg DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
  install(FILES desktop/package/${window}.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/qvora-sealed-bundle-builder-desktop)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qvora-sealed-bundle-builder)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "QVORA Sealed Bundle Builder developers <developers@qvora.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Package and provision firmware of secure microcontrollers")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL tool)
set(CPACK_COMPONENT_TOOL_DESCRIPTION ${CPACK_PACKAGE_DESCRIPTION_SUMMARY})
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME ${CPACK_PACKAGE_NAME})
set(CPACK_DEBIAN_TOOL_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_TOOL_PACKAGE_SUGGESTS "p11-kit-modules, opensc, python3-pip")
if(QVORA_DESKTOP)
  list(APPEND CPACK_COMPONENTS_ALL desktop)
  set(CPACK_COMPONENT_DESKTOP_DESCRIPTION "${CPACK_PACKAGE_DESCRIPTION_SUMMARY}: the desktop program")
  set(CPACK_DEBIAN_DESKTOP_PACKAGE_NAME ${CPACK_PACKAGE_NAME}-desktop)
  set(CPACK_DEBIAN_DESKTOP_FILE_NAME DEB-DEFAULT)
  # Without the SVG plugin the icon would stay empty without a word.
  set(CPACK_DEBIAN_DESKTOP_PACKAGE_DEPENDS "${CPACK_PACKAGE_NAME} (= ${CPACK_PACKAGE_VERSION}), libqt6svg6")
  set(CPACK_DEBIAN_DESKTOP_PACKAGE_RECOMMENDS "qt6-wayland")
endif()
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
include(CPack)
