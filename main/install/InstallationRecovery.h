#pragma once

#include "install/AppInstallation.h"
#include "platform/files/FileAccess.h"
#include "platform/files/FileManager.h"
#include "platform/files/Trash.h"

#include <filesystem>
#include <memory>
#include <string>

/// What an installation that was cut short has left in a folder of applications. Any thread; waits
/// for the disk.
namespace tallywick::InstallationRecovery {

/// The right to install into the folder and to put right what lies there: one has it at a time, in
/// all programs of this machine, until it lets go of it or ends. It is held as long as hidden items
/// of ours lie in the folder. Null when another has it, or when there is no such folder.
std::unique_ptr<FileLock> claim(const std::filesystem::path& applicationsFolder);

/// A verified backup goes back to its place where that is empty; leftover copies and superseded
/// backups go to the Trash. Only what bears one of our hidden names, has our identity or is an
/// unfinished copy of it, and belongs to this user. What was done, in sentences for the user; empty
/// when there was nothing. The caller has claimed the folder.
std::string recover(const std::filesystem::path& applicationsFolder,
                    const AppInstallation::Verify& verify, FileManager& files, Trash& trash);

} // namespace tallywick::InstallationRecovery
