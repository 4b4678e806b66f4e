#include "platform/desktop/AliasFile.h"

#include "base/Sha256.h"
#include "platform/desktop/linux/DesktopEntry.h"
#include "platform/files/FilePieces.h"
#include "platform/process/ChildProcess.h"

#include <QFile>
#include <QStandardPaths>

#include <chrono>
#include <future>
#include <memory>
#include <system_error>
#include <vector>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

using Failure = tl::unexpected<std::string>;

/// For one attribute; the service that keeps them takes milliseconds.
constexpr std::chrono::seconds markLimit{3};

fs::path markingTool() {
    return QFile::encodeName(QStandardPaths::findExecutable(QStringLiteral("gio"))).toStdString();
}

/// Gives the file one of the attributes that the desktop keeps about files, if it can.
void mark(const fs::path& tool, const fs::path& file, const char* attribute,
          const std::string& value) {
    const auto hasEnded = std::make_shared<std::promise<void>>();
    const ChildCommand command{
        .executable = tool, .arguments = {"set", file, attribute, value}, .currentFolder = "/"};
    try {
        const auto child =
            ChildProcess::launch(command, {.output = [](std::string_view) {},
                                           .inputBroken = [] {},
                                           .terminated = [hasEnded] { hasEnded->set_value(); }});
        child->closeInput();
        hasEnded->get_future().wait_for(markLimit);
    } catch (const std::system_error&) {
        return; // unmarked, the file opens all the same, or after a question to the user
    }
}

/// GNOME's desktop and Xfce's open an entry without asking once it bears these.
void markAsTrusted(const fs::path& file, const std::string& content) {
    const fs::path tool = markingTool();
    if (tool.empty())
        return;
    mark(tool, file, "metadata::trusted", "true");
    mark(tool, file, "metadata::xfce-exe-checksum", sha256Hex(content));
}

} // namespace

std::string aliasFileName(const std::string& name) { return name + ".desktop"; }

tl::expected<std::string, std::string> aliasContent(const std::string& name,
                                                    const fs::path& bundle) {
    auto content = writeDesktopEntry(
        bundle, {{"Name", name}, {"Icon", bundle / "Contents/Resources/corvane-logo.png"}});
    if (!content)
        return Failure("The path of the app has characters that no alias can hold.");
    return std::move(*content);
}

tl::expected<void, std::string> writeAlias(const fs::path& alias, const std::string& content) {
    auto file = NewFile::create(alias);
    constexpr bool isExecutable = true;
    if (!file || file->append(content) != WriteResult::written
        || file->keepOnDisk(isExecutable) != WriteResult::written)
        return Failure("The alias could not be written.");
    markAsTrusted(alias, content);
    return {};
}

std::optional<fs::path> resolveAlias(const fs::path& alias) { return bundleOpenedByFile(alias); }

} // namespace tallywick
