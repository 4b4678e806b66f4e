# `cmake --install`, with any prefix and DESTDIR, and the Debian package made of the same rules.
include(GNUInstallDirs)

set(copyright "${CMAKE_CURRENT_SOURCE_DIR}/copyright")
set(command_files "${CMAKE_CURRENT_BINARY_DIR}/command")
set(documents "${CMAKE_CURRENT_BINARY_DIR}/documents")
file(MAKE_DIRECTORY "${command_files}" "${documents}")

# When this version was released, as each reader wants it. CMake tells no other time than this one.
set(kept_epoch "$ENV{SOURCE_DATE_EPOCH}")
set(ENV{SOURCE_DATE_EPOCH} ${TALLYWICK_RELEASE_TIME})
string(TIMESTAMP TALLYWICK_RELEASE_DATE "%Y-%m-%d" UTC)
string(TIMESTAMP TALLYWICK_RELEASE_MAIL_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(ENV{SOURCE_DATE_EPOCH} "${kept_epoch}")
configure_file(metainfo.xml.in "${documents}/${TALLYWICK_IDENTIFIER}.metainfo.xml" @ONLY)
configure_file(changelog.in "${documents}/changelog.Debian" @ONLY)
file(WRITE "${documents}/managed" "Installed by a package: the application leaves it alone.\n")

# Debian keeps manuals and lists of changes compressed; -n leaves the time out.
set(manual "${command_files}/${TALLYWICK_COMMAND}.1")
set(changes "${documents}/changelog.Debian")
add_custom_command(
  OUTPUT "${manual}.gz" "${changes}.gz"
  COMMAND desktop_files command "${command_files}"
  COMMAND gzip -9nkf "${manual}" "${changes}"
  DEPENDS desktop_files "${changes}"
  COMMENT "Writing the manual and the completions"
  VERBATIM)
add_custom_target(command_files ALL DEPENDS "${manual}.gz" "${changes}.gz")

# As files: nothing may touch the executable any more.
set(for_all OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(home "${CMAKE_INSTALL_LIBDIR}/${TALLYWICK_COMMAND}")
install(DIRECTORY "${TALLYWICK_BUNDLE}" DESTINATION "${home}"
  USE_SOURCE_PERMISSIONS DIRECTORY_PERMISSIONS ${for_all})
install(FILES "${documents}/managed" DESTINATION "${home}" RENAME "${TALLYWICK_NAME}.app.managed")

# The command is a link to the executable, which finds its bundle by its own place; the entry of the
# launcher is the one that the application writes of itself. Both tell where it lies, so they are made
# when that is known.
install(CODE "
  set(bundle \"${home}/${TALLYWICK_NAME}.app\")
  cmake_path(ABSOLUTE_PATH bundle BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\" NORMALIZE)
  set(commands \"${CMAKE_INSTALL_BINDIR}\")
  cmake_path(ABSOLUTE_PATH commands BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\" NORMALIZE)
  set(entries \"${CMAKE_INSTALL_DATADIR}/applications\")
  cmake_path(ABSOLUTE_PATH entries BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\" NORMALIZE)
  set(made \"${CMAKE_CURRENT_BINARY_DIR}/made\")
  file(MAKE_DIRECTORY \"\${made}\")
  set(executable \"\${bundle}/Contents/MacOS/${TALLYWICK_EXECUTABLE}\")
  cmake_path(RELATIVE_PATH executable BASE_DIRECTORY \"\${commands}\")
  file(CREATE_LINK \"\${executable}\" \"\${made}/${TALLYWICK_COMMAND}\" SYMBOLIC)
  set(entry \"\${made}/${TALLYWICK_IDENTIFIER}.desktop\")
  execute_process(COMMAND \"$<TARGET_FILE:desktop_files>\" entry \"\${bundle}\" \"\${entry}\"
    COMMAND_ERROR_IS_FATAL ANY)
  file(INSTALL \"\${made}/${TALLYWICK_COMMAND}\" DESTINATION \"\${commands}\")
  file(INSTALL \"\${entry}\" DESTINATION \"\${entries}\"
    PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
")

set(theme "${CMAKE_INSTALL_DATADIR}/icons/hicolor")
foreach(size IN LISTS icon_sizes)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/icon-${size}.png"
    DESTINATION "${theme}/${size}x${size}/apps" RENAME "${TALLYWICK_IDENTIFIER}.png")
endforeach()
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/icon.svg"
  DESTINATION "${theme}/scalable/apps" RENAME "${TALLYWICK_IDENTIFIER}.svg")
install(FILES "${documents}/${TALLYWICK_IDENTIFIER}.metainfo.xml"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/metainfo")
install(FILES "${manual}.gz" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
install(FILES "${command_files}/${TALLYWICK_COMMAND}"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
install(FILES "${command_files}/_${TALLYWICK_COMMAND}"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions")
install(FILES "${command_files}/${TALLYWICK_COMMAND}.fish"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d")
install(FILES "${copyright}" "${changes}.gz"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${TALLYWICK_COMMAND}")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${TALLYWICK_COMMAND})
set(CPACK_PACKAGE_VENDOR Corvane)
set(CPACK_PACKAGE_CONTACT "Corvane <${TALLYWICK_COMMAND}@${TALLYWICK_MAKER_HOST}>")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://${TALLYWICK_MAKER_HOST}/toolyard/tallywick/")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "weekly Codex allowance in a small window")
set(CPACK_PACKAGE_DESCRIPTION
"Tallywick keeps one small window on screen: how much of the weekly Codex
allowance is used, when it resets, the token activity of the account, the week
as a graph, and the load of the machine. It asks the Codex helper that is
installed on the machine, through the sign-in that Codex already holds.")
# The rules are run as for this prefix, into a folder beside.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY "${CMAKE_BINARY_DIR}")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# As packages count that are none of Debian's own.
set(CPACK_DEBIAN_PACKAGE_RELEASE 0.${TALLYWICK_BUILD_NUMBER})
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS fonts-inter)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
