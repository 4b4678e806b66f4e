#include "hardware/VolumeList.h"

#include <QLocale>

#include <gtest/gtest.h>

#include <limits>

namespace tallywick {
namespace {

constexpr std::int64_t gibibyte = 1LL << 30;

MountedVolume volume(const char* mountPoint, std::optional<std::string> name = {}) {
    MountedVolume result;
    result.mountPoint = mountPoint;
    result.name = std::move(name);
    result.totalCapacity = 10 * gibibyte;
    result.isLocal = true;
    return result;
}

TEST(ShownVolumes, AreLocalBrowsableAndNotEmpty) {
    const struct {
        const char* name;
        std::optional<std::int64_t> total;
        std::optional<bool> isLocal;
        std::optional<bool> isBrowsable;
        bool shown;
    } cases[] = {
        {"a browsable volume", 1, true, true, true},
        {"not known whether browsable", 1, true, {}, true},
        {"not browsable", 1, true, false, false},
        {"on the network", 1, false, true, false},
        {"not known whether local", 1, {}, true, false},
        {"without capacity", 0, true, true, false},
        {"not known how large", {}, true, true, false},
    };
    for (const auto& row : cases) {
        MountedVolume mounted = volume("/mnt/x");
        mounted.isLocal = row.isLocal;
        mounted.isBrowsable = row.isBrowsable;
        mounted.totalCapacity = row.total;
        EXPECT_EQ(shownVolumes({mounted}, "Root", QLocale::c()).size(), row.shown ? 1U : 0U)
            << row.name;
    }
}

TEST(ShownVolumes, PreferTheCapacityForImportantUsage) {
    const struct {
        const char* name;
        std::optional<std::int64_t> important;
        std::optional<std::int64_t> available;
        std::int64_t free;
    } cases[] = {
        {"important is 0", 0, 5 * gibibyte, 5 * gibibyte},
        {"important is one byte", 1, 5 * gibibyte, 1},
        {"important is larger", 7 * gibibyte, 5 * gibibyte, 7 * gibibyte},
        {"both are unknown", {}, {}, 0},
        {"more is free than there is", std::numeric_limits<std::int64_t>::max(), 1, 10 * gibibyte},
    };
    for (const auto& row : cases) {
        MountedVolume mounted = volume("/mnt/x", "X");
        mounted.importantCapacity = row.important;
        mounted.availableCapacity = row.available;
        const VolumeInfo expected{"/mnt/x", "X", row.free, 10 * gibibyte};
        EXPECT_EQ(shownVolumes({mounted}, "Root", QLocale::c()), std::vector{expected}) << row.name;
    }
}

TEST(ShownVolumes, HaveANameOnOneLine) {
    const struct {
        const char* name;
        MountedVolume mounted;
        const char* shownName;
    } cases[] = {
        {"a label", volume("/mnt/x", "Photos"), "Photos"},
        {"the root volume without one", volume("/"), "Macintosh HD"},
        {"a blank label", volume("/", " "), "Macintosh HD"},
        {"no label, a slash at the end", volume("/Volumes/Backup/"), "Backup"},
        {"a label on two lines", volume("/mnt/x", "two\nlines"), "two\uFFFDlines"},
        {"a label that is not UTF-8", volume("/mnt/x", "Gr\xFCn"), "Gr\uFFFDn"},
        {"a label beyond the first plane", volume("/mnt/x", "📷"), "📷"},
    };
    for (const auto& row : cases) {
        const auto shown = shownVolumes({row.mounted}, "Macintosh HD", QLocale::c());
        ASSERT_EQ(shown.size(), 1U) << row.name;
        EXPECT_EQ(shown.front().name, row.shownName) << row.name;
        EXPECT_EQ(shown.front().id(), row.mounted.mountPoint) << row.name;
    }
}

TEST(ShownVolumes, AreSortedAsAFileBrowserSortsThem) {
    const std::vector<MountedVolume> mounted{
        volume("/a", "zoo"),     volume("/b", "Disk 10"), volume("/c", "disk 9"),
        volume("/d", "Öl 2"),    volume("/e", "DISK 9"),  volume("/f", "Öl 010"),
        volume("/", "the root"), volume("/g", "Alpha"),   volume("/h", "Zoo")};
    struct Case {
        const char* name;
        QLocale locale;
        std::string order;
    };
    // A letter with an umlaut stands with its base letter in German, at the end in Swedish.
    const Case cases[] = {
        {"no language", QLocale::c(), "/ /g /c /e /b /d /f /a /h "},
        {"German", QLocale(QLocale::German), "/ /g /c /e /b /d /f /a /h "},
        {"Swedish", QLocale(QLocale::Swedish), "/ /g /c /e /b /a /h /d /f "},
    };
    for (const auto& row : cases) {
        std::string order;
        for (const VolumeInfo& shown : shownVolumes(mounted, "Root", row.locale))
            order += shown.id().native() + " ";
        EXPECT_EQ(order, row.order) << row.name;
    }
}

TEST(ShownVolumes, KeepTheirOrderWhenNamesAreEqual) {
    std::vector<MountedVolume> mounted;
    std::vector<std::filesystem::path> order;
    for (int i = 0; i < 100; ++i) {
        order.push_back("/mnt/" + std::to_string(i * 37 % 100));
        mounted.push_back(volume(order.back().c_str(), i % 2 == 0 ? "Disk" : "disk"));
    }
    const auto shown = shownVolumes(mounted, "Root", QLocale::c());
    ASSERT_EQ(shown.size(), order.size());
    for (std::size_t i = 0; i < shown.size(); ++i)
        EXPECT_EQ(shown[i].url, order[i]);
}

} // namespace
} // namespace tallywick
