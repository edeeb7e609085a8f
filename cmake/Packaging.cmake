# Installation and the Debian packages. The executable needs its helper files in its own folder, so it is installed in a
# separate folder, with a link in bin/.
set(CPACK_PACKAGE_NAME qvora-sealed-bundle-builder)
set(CPACK_PACKAGE_CONTACT "QVORA Sealed Bundle Builder developers <developers@qvora.invalid>")
include(cmake/findCommit.cmake)
find_commit(${PROJECT_SOURCE_DIR} commit date)
# The package's file name may have 80 characters. With the longest architecture, this leaves room for six digits of the
# commit, or for "dirty" if the tree differs from it.
if(commit MATCHES "dirty")
  set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION}+${date}.dirty)
else()
  string(SUBSTRING ${commit} 0 6 commit_part)
  set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION}+${date}.${commit_part})
endif()

set(home ${CMAKE_INSTALL_LIBDIR}/${CPACK_PACKAGE_NAME})
set(documents ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_PACKAGE_NAME})
set(tool QVORASealedBundleBuilder_CLI)
set(made ${PROJECT_BINARY_DIR}/packaging)
file(MAKE_DIRECTORY ${made})
string(TIMESTAMP now "%a, %d %b %Y %H:%M:%S +0000" UTC)  # SOURCE_DATE_EPOCH if it is set
configure_file(cmake/debian/changelog.in ${made}/changelog @ONLY)

# install_compressed(file name destination): installs a compressed file, the form for man pages and changelogs in a
# package. Two runs yield the same bytes.
function(install_compressed file name destination)
  set(packed ${made}/${CMAKE_INSTALL_DEFAULT_COMPONENT_NAME}/${name}.gz)
  cmake_path(GET packed PARENT_PATH folder)
  add_custom_command(OUTPUT ${packed}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${folder}
    COMMAND gzip -9 -n -c ${file} > ${packed} DEPENDS ${file} VERBATIM)
  set_property(GLOBAL APPEND PROPERTY packed_files ${packed})
  install(FILES ${packed} DESTINATION ${destination})
endfunction()

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME tool)
install(TARGETS ${tool} RUNTIME DESTINATION ${home})
install(FILES Template/OBkeyPrototype.xsd Template/McuBootPrototype.xsd DESTINATION ${home}/Template)
install(PROGRAMS obkey/imgtool-launcher.sh DESTINATION ${home}/Utilities/Windows RENAME imgtool.exe)
file(RELATIVE_PATH link_target ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR}/qvora-sealed-bundle-builder/${tool})
file(CREATE_LINK ${link_target} ${made}/${tool} SYMBOLIC)
install(FILES ${made}/${tool} DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS qvora-inspect RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES README.md CONTRIBUTING.md SECURITY.md cmake/debian/copyright DESTINATION ${documents})
install(FILES LICENSE DESTINATION ${documents} COMPONENT license)  # in no package, because Debian systems have the text
install_compressed(${PROJECT_SOURCE_DIR}/CHANGELOG.md CHANGELOG.md ${documents})
install_compressed(${made}/changelog changelog ${documents})
install(DIRECTORY docs DESTINATION ${documents})
# The documents contain no ELF file. The example's is installed compressed, and examples/demo unpacks it.
install(DIRECTORY examples DESTINATION ${documents} PATTERN demo EXCLUDE PATTERN *.py EXCLUDE PATTERN build EXCLUDE PATTERN prepare EXCLUDE PATTERN *.elf EXCLUDE)
install(FILES Data_Base/example-0x455.xml Data_Base/example-0x505.xml DESTINATION ${documents}/Data_Base)
install(PROGRAMS examples/production/prepare DESTINATION ${documents}/examples/production)
install(PROGRAMS examples/demo examples/inspect.py DESTINATION ${documents}/examples)
install(PROGRAMS examples/firmware/build DESTINATION ${documents}/examples/firmware)
install_compressed(${PROJECT_SOURCE_DIR}/examples/firmware/blink.elf blink.elf ${documents}/examples/firmware)

if(NOT QVORA_SANITIZE)
  foreach(kind man completion)
    set(page ${made}/${tool}.${kind})
    add_custom_command(OUTPUT ${page}
      COMMAND ${PROJECT_SOURCE_DIR}/scripts/make-docs ${kind} $<TARGET_FILE:${tool}> > ${page}
      DEPENDS ${tool} ${PROJECT_SOURCE_DIR}/scripts/make-docs ${PROJECT_SOURCE_DIR}/examples/commands.tsv
              ${PROJECT_SOURCE_DIR}/examples/more-options.tsv ${PROJECT_SOURCE_DIR}/docs/manual.md
              ${PROJECT_SOURCE_DIR}/CMakeLists.txt ${PROJECT_SOURCE_DIR}/cli/InstallImageCommand.cpp VERBATIM)
    list(APPEND pages ${page})
  endforeach()
  foreach(kind man completion)
    set(page ${made}/qvora-inspect.${kind})
    add_custom_command(OUTPUT ${page}
      COMMAND ${PROJECT_SOURCE_DIR}/scripts/make-docs inspect-${kind} $<TARGET_FILE:qvora-inspect> > ${page}
      DEPENDS qvora-inspect ${PROJECT_SOURCE_DIR}/scripts/make-docs ${PROJECT_SOURCE_DIR}/examples/inspect.tsv
              ${PROJECT_SOURCE_DIR}/docs/inspect.schema.json ${PROJECT_SOURCE_DIR}/CMakeLists.txt
              ${PROJECT_SOURCE_DIR}/inspect/commandLine.cpp VERBATIM)
    list(APPEND pages ${page})
  endforeach()
  install_compressed(${made}/qvora-inspect.man qvora-inspect.1 ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES ${made}/qvora-inspect.completion DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
          RENAME qvora-inspect)
  add_custom_target(command-pages ALL DEPENDS ${pages})
  install_compressed(${made}/${tool}.man ${tool}.1 ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES ${made}/${tool}.completion DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
          RENAME ${tool})
endif()

# The opener as a library, and what programs need to be built with it.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME library)
install(TARGETS qvora-inspect-library LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_COMPONENT library-dev)
install(FILES cmake/debian/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libqvora-inspect${PROJECT_VERSION_MAJOR})
install_compressed(${made}/changelog changelog ${CMAKE_INSTALL_DATADIR}/doc/libqvora-inspect${PROJECT_VERSION_MAJOR})
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME library-dev)
install(FILES inspect/library/qvora_inspect.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_BINARY_DIR}/inspect/library/qvora-inspect.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
install(FILES cmake/debian/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libqvora-inspect-dev)
install_compressed(${made}/changelog changelog ${CMAKE_INSTALL_DATADIR}/doc/libqvora-inspect-dev)

# The desktop program has its own package, which depends on the tool's. Only this package contains the device
# descriptions, because the command-line tool reads none.
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
  add_custom_command(OUTPUT ${made}/${window}.man
    COMMAND ${PROJECT_SOURCE_DIR}/scripts/make-docs window-man > ${made}/${window}.man
    DEPENDS ${PROJECT_SOURCE_DIR}/scripts/make-docs ${PROJECT_SOURCE_DIR}/desktop/package/${window}.1
            ${PROJECT_SOURCE_DIR}/CMakeLists.txt VERBATIM)
  install_compressed(${made}/${window}.man ${window}.1 ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES cmake/debian/copyright DESTINATION ${documents}-desktop)
  install_compressed(${made}/changelog changelog ${documents}-desktop)
endif()

# The production programs. The runner reads the templates of the tool in its own folder, so their package depends on the
# tool's.
if(QVORA_PRODUCTION)
  set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME production)
  foreach(command produce sign)
    set(program qvora-${command})
    file(RELATIVE_PATH link_target ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR}/qvora-sealed-bundle-builder/${program})
    file(CREATE_LINK ${link_target} ${made}/${program} SYMBOLIC)
    install(TARGETS ${program} RUNTIME DESTINATION ${home})
    install(FILES ${made}/${program} DESTINATION ${CMAKE_INSTALL_BINDIR})
    if(NOT QVORA_SANITIZE)
      foreach(kind man completion)
        set(page ${made}/${program}.${kind})
        add_custom_command(OUTPUT ${page}
          COMMAND ${PROJECT_SOURCE_DIR}/scripts/make-docs ${command}-${kind} $<TARGET_FILE:${program}> > ${page}
          DEPENDS ${program} ${PROJECT_SOURCE_DIR}/scripts/make-docs ${PROJECT_SOURCE_DIR}/CMakeLists.txt VERBATIM)
        list(APPEND production_pages ${page})
      endforeach()
      install_compressed(${made}/${program}.man ${program}.1 ${CMAKE_INSTALL_MANDIR}/man1)
      install(FILES ${made}/${program}.completion DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
              RENAME ${program})
    endif()
  endforeach()
  if(NOT QVORA_SANITIZE)
    add_custom_target(production-pages ALL DEPENDS ${production_pages})
  endif()
  install(FILES cmake/debian/copyright DESTINATION ${documents}-production)
  install_compressed(${made}/changelog changelog ${documents}-production)
endif()
get_property(packed_files GLOBAL PROPERTY packed_files)
add_custom_target(packed-files ALL DEPENDS ${packed_files})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Package and provision firmware of secure microcontrollers")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL tool library library-dev)
set(CPACK_COMPONENT_TOOL_DESCRIPTION "Makes encrypted and authenticated install and update images, provisioning
payloads and files, signed images, encrypted memory images, backup images
and key pairs, and programs cards. A second program, qvora-inspect, shows
and verifies the content of these files.")
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME ${CPACK_PACKAGE_NAME})
set(CPACK_DEBIAN_TOOL_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_TOOL_PACKAGE_SUGGESTS "p11-kit-modules, opensc, python3-pip")
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "The opener qvora-inspect as a library with functions in C: shows and proves the
files of QVORA Sealed Bundle Builder, for programs in any language.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libqvora-inspect${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_LIBRARY-DEV_DESCRIPTION "Header and pkg-config file for programs that are built with the library
libqvora-inspect.")
set(CPACK_DEBIAN_LIBRARY-DEV_PACKAGE_NAME libqvora-inspect-dev)
set(CPACK_DEBIAN_LIBRARY-DEV_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_LIBRARY-DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBRARY-DEV_PACKAGE_DEPENDS "libqvora-inspect${PROJECT_VERSION_MAJOR} (= ${CPACK_PACKAGE_VERSION})")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
if(QVORA_DESKTOP)
  list(APPEND CPACK_COMPONENTS_ALL desktop)
  set(CPACK_COMPONENT_DESKTOP_DESCRIPTION "This is a window over the command-line tool: a form for each command, editors
for option bytes, secrets and templates, and an inspector for images. It
always shows the command line that it runs.")
  set(CPACK_DEBIAN_DESKTOP_PACKAGE_NAME ${CPACK_PACKAGE_NAME}-desktop)
  set(CPACK_DEBIAN_DESKTOP_FILE_NAME DEB-DEFAULT)
  # Without the SVG plugin, the icon is empty, and no error is reported.
  set(CPACK_DEBIAN_DESKTOP_PACKAGE_DEPENDS "${CPACK_PACKAGE_NAME} (= ${CPACK_PACKAGE_VERSION}), libqt6svg6")
  set(CPACK_DEBIAN_DESKTOP_PACKAGE_RECOMMENDS "qt6-wayland")
endif()
if(QVORA_PRODUCTION)
  list(APPEND CPACK_COMPONENTS_ALL production)
  set(CPACK_COMPONENT_PRODUCTION_DESCRIPTION "Makes and proves the files of thousands of devices, each with its own values,
with a ledger that makes a repeated nonce impossible and a signed record of
what was made. An interrupted run is resumed without loss. A second program
signs images with keys in PKCS #11 tokens.")
  set(CPACK_DEBIAN_PRODUCTION_PACKAGE_NAME ${CPACK_PACKAGE_NAME}-production)
  set(CPACK_DEBIAN_PRODUCTION_FILE_NAME DEB-DEFAULT)
  # Qt loads the drivers of databases at run time, so the linker doesn't know them.
  set(CPACK_DEBIAN_PRODUCTION_PACKAGE_DEPENDS "${CPACK_PACKAGE_NAME} (= ${CPACK_PACKAGE_VERSION}), libqt6sql6-sqlite")
  set(CPACK_DEBIAN_PRODUCTION_PACKAGE_SUGGESTS "libqt6sql6-psql")
endif()
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
include(CPack)
