#pragma once

#include "install/AppInstallation.h"
#include "platform/bundle/ApplicationBundle.h"
#include "platform/files/FileManager.h"
#include "platform/files/Trash.h"

#include <filesystem>
#include <string>

/// What an installation that was cut short has left in a folder of applications. Any thread; waits
/// for the disk.
namespace tallywick::InstallationRecovery {

/// Puts back in its place the latest verified backup where that is empty; moves leftover copies,
/// and the backups that the installed copy has superseded, to the Trash. A backup is superseded
/// once the installed copy runs: `running`, the bundle of this program, is that copy, and verified;
/// until then it may be the only one that works.
///
/// Only what bears one of our hidden names, has our identity or is an unfinished copy of it, and
/// belongs to this user. What was done, and what could not be, in sentences for the user; empty
/// when there was nothing. The caller has claimed the folder (`AppInstallation::claim`).
std::string recover(const std::filesystem::path& applicationsFolder,
                    const AppInstallation::Verify& verify, FileManager& files, Trash& trash,
                    const std::filesystem::path& running = runningBundle());

} // namespace tallywick::InstallationRecovery
