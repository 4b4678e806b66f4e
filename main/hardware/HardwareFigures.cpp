#include "hardware/HardwareFigures.h"

#include <QCollator>
#include <QLocale>
#include <QString>

#include <algorithm>
#include <utility>

namespace tallywick {

namespace {

/// As a double, so that no sum of deltas overflows.
double delta(std::uint64_t previous, std::uint64_t current) {
    return current > previous ? static_cast<double>(current - previous) : 0;
}

double percentage(double part, double whole) { return std::clamp(part * 100 / whole, 0.0, 100.0); }

bool isAtRoot(const std::filesystem::path& mountPoint) { return mountPoint == "/"; }

/// Names come from whoever formatted the volume: what is no text, and what would break the line,
/// becomes the replacement character.
QString displayText(const std::string& bytes) {
    QString text = QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
    std::replace_if(
        text.begin(), text.end(),
        [](QChar c) {
            return c.category() == QChar::Other_Control || c.category() == QChar::Separator_Line
                   || c.category() == QChar::Separator_Paragraph;
        },
        QChar(QChar::ReplacementCharacter));
    return text.trimmed();
}

QString nameOf(const MountedVolume& volume, const std::string& unnamedRootName) {
    QString name = displayText(volume.name.value_or(std::string()));
    if (!name.isEmpty())
        return name;
    if (isAtRoot(volume.mountPoint))
        return displayText(unnamedRootName);
    const bool endsWithSlash = !volume.mountPoint.has_filename();
    const auto place = endsWithSlash ? volume.mountPoint.parent_path() : volume.mountPoint;
    return displayText(place.filename().native());
}

std::int64_t freeCapacity(const MountedVolume& volume, std::int64_t total) {
    const std::int64_t important = volume.importantCapacity.value_or(0);
    const std::int64_t free = important >= 1 ? important : volume.availableCapacity.value_or(0);
    return std::clamp<std::int64_t>(free, 0, total);
}

bool isShown(const MountedVolume& volume) {
    return volume.isLocal.value_or(false) && volume.isBrowsable.value_or(true)
           && volume.totalCapacity.value_or(0) > 0;
}

QCollator fileBrowserCollator(const QLocale& locale) {
    // The C locale compares by code points, which puts "Disk 10" before "Disk 9".
    const bool ordersText = locale.language() != QLocale::C;
    QCollator collator(ordersText ? locale : QLocale(QLocale::English));
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    return collator;
}

} // namespace

std::optional<double> cpuPercent(const CpuTicks& previous, const CpuTicks& current) {
    const double busy = delta(previous.user, current.user) + delta(previous.system, current.system)
                        + delta(previous.nice, current.nice);
    const double total = busy + delta(previous.idle, current.idle);
    return total > 0 ? std::optional(percentage(busy, total)) : std::nullopt;
}

std::optional<double> memoryPercent(const MemoryPages& pages) {
    if (pages.physicalSize == 0)
        return std::nullopt;
    std::uint64_t used = 0;
    if (__builtin_mul_overflow(pages.used, pages.pageSize, &used))
        used = pages.physicalSize;
    used = std::min(used, pages.physicalSize);
    return percentage(static_cast<double>(used), static_cast<double>(pages.physicalSize));
}

std::vector<VolumeInfo> shownVolumes(const std::vector<MountedVolume>& mounted,
                                     const std::string& unnamedRootName, const QLocale& locale) {
    struct Entry {
        QString name;
        VolumeInfo volume;
    };
    std::vector<Entry> entries;
    for (const MountedVolume& volume : mounted) {
        if (!isShown(volume))
            continue;
        const QString name = nameOf(volume, unnamedRootName);
        const std::int64_t total = *volume.totalCapacity;
        entries.push_back({name,
                           {.url = volume.mountPoint,
                            .name = name.toStdString(),
                            .free = freeCapacity(volume, total),
                            .total = total}});
    }

    const QCollator collator = fileBrowserCollator(locale);
    std::stable_sort(entries.begin(), entries.end(), [&](const Entry& a, const Entry& b) {
        if (isAtRoot(a.volume.url) || isAtRoot(b.volume.url))
            return isAtRoot(a.volume.url) && !isAtRoot(b.volume.url);
        return collator.compare(a.name, b.name) < 0;
    });

    std::vector<VolumeInfo> volumes;
    volumes.reserve(entries.size());
    for (Entry& entry : entries)
        volumes.push_back(std::move(entry.volume));
    return volumes;
}

} // namespace tallywick
