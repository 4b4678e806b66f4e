#include "hardware/HardwareFigures.h"

#include <QLocale>

#include <gtest/gtest.h>

namespace tallywick {
namespace {

MountedVolume volume(const char* mountPoint, std::optional<std::string> name = {}) {
    return {mountPoint, std::move(name), 10, 4, 4, true, true};
}

std::vector<VolumeInfo> shown(const std::vector<MountedVolume>& mounted) {
    return shownVolumes(mounted, "Macintosh HD", QLocale::c());
}

TEST(ShownVolumes, AreLocalBrowsableAndNotEmpty) {
    const auto isShown = [](auto total, std::optional<bool> local, std::optional<bool> browsable) {
        return !shown({{"/mnt/x", {}, total, {}, {}, local, browsable}}).empty();
    };
    EXPECT_TRUE(isShown(1, true, true));
    EXPECT_TRUE(isShown(1, true, std::nullopt));
    EXPECT_FALSE(isShown(1, true, false));
    EXPECT_FALSE(isShown(1, false, true));
    EXPECT_FALSE(isShown(1, std::nullopt, true));
    EXPECT_FALSE(isShown(0, true, true));
    EXPECT_FALSE(isShown(std::nullopt, true, true));
}

TEST(ShownVolumes, PreferTheCapacityForImportantUsage) {
    const auto freeOf = [](std::optional<int> important, std::optional<int> available) {
        return shown({{"/mnt/x", {}, 10, important, available, true, true}}).at(0).free;
    };
    EXPECT_EQ(freeOf(0, 5), 5);
    EXPECT_EQ(freeOf(1, 5), 1);
    EXPECT_EQ(freeOf(7, 5), 7);
    EXPECT_EQ(freeOf({}, {}), 0);
    EXPECT_EQ(freeOf(11, 1), 10) << "more than there is";
}

TEST(ShownVolumes, HaveANameOnOneLine) {
    const std::pair<MountedVolume, const char*> cases[] = {
        {volume("/mnt/x", "Photos"), "Photos"},
        {volume("/"), "Macintosh HD"},
        {volume("/", " "), "Macintosh HD"},
        {volume("/Volumes/Backup/"), "Backup"},
        {volume("/mnt/x", "two\nlines"), "two\uFFFDlines"},
        {volume("/mnt/x", "Gr\xFCn"), "Gr\uFFFDn"},
        {volume("/mnt/x", "📷"), "📷"},
    };
    for (const auto& [mounted, name] : cases)
        EXPECT_EQ(shown({mounted}), (std::vector<VolumeInfo>{{mounted.mountPoint, name, 4, 10}}));
}

TEST(ShownVolumes, AreSortedAsAFileBrowserSortsThem) {
    const std::vector<MountedVolume> mounted{
        volume("/a", "zoo"),     volume("/b", "Disk 10"), volume("/c", "disk 9"),
        volume("/d", "Öl 2"),    volume("/e", "DISK 9"),  volume("/f", "Öl 010"),
        volume("/", "the root"), volume("/g", "Alpha"),   volume("/h", "Zoo")};
    const auto order = [&](const QLocale& locale) {
        std::string ids;
        for (const VolumeInfo& listed : shownVolumes(mounted, "Root", locale))
            ids += listed.id().native() + " ";
        return ids;
    };
    // A letter with an umlaut stands with its base letter in German, at the end in Swedish.
    EXPECT_EQ(order(QLocale::c()), "/ /g /c /e /b /d /f /a /h ");
    EXPECT_EQ(order(QLocale::German), "/ /g /c /e /b /d /f /a /h ");
    EXPECT_EQ(order(QLocale::Swedish), "/ /g /c /e /b /a /h /d /f ");
}

} // namespace
} // namespace tallywick
