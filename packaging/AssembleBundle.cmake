# Assembles and seals the bundle in the folder STAGING, and gives it its place at BUNDLE only when it
# is whole: a build that stops half-way leaves no half-sealed bundle. STRIP, if given, takes the
# symbols off the executable before.
set(for_all OWNER_READ GROUP_READ WORLD_READ)

file(REMOVE_RECURSE "${STAGING}")
file(COPY "${INFORMATION}" DESTINATION "${STAGING}/Contents"
  FILE_PERMISSIONS OWNER_WRITE ${for_all})
file(COPY "${EXECUTABLE}" DESTINATION "${STAGING}/Contents/MacOS"
  FILE_PERMISSIONS OWNER_WRITE ${for_all} OWNER_EXECUTE GROUP_EXECUTE WORLD_EXECUTE)
if(STRIP)
  get_filename_component(name "${EXECUTABLE}" NAME)
  execute_process(
    COMMAND "${STRIP}" --strip-all --remove-section=.comment "${STAGING}/Contents/MacOS/${name}"
    COMMAND_ERROR_IS_FATAL ANY)
endif()
file(COPY "${ICONS}" "${LOGO}" DESTINATION "${STAGING}/Contents/Resources"
  FILE_PERMISSIONS OWNER_WRITE ${for_all})

execute_process(COMMAND "${SEAL}" "${STAGING}" COMMAND_ERROR_IS_FATAL ANY)

file(REMOVE_RECURSE "${BUNDLE}")
file(RENAME "${STAGING}" "${BUNDLE}")
