#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace tallywick {

/// A colour of the sRGB space.
struct RgbColor {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;

    bool operator==(const RgbColor&) const = default;
};

/// How the user wants applications to look. Main thread only.
class Appearance {
  public:
    virtual ~Appearance() = default;

    /// Begins to ask and to follow. The answers come later: `onChange` is called from the event
    /// loop whenever one of the values below has changed.
    virtual void start(std::function<void()> onChange) = 0;

    /// Absent when the user has chosen none, or it is not known yet.
    virtual std::optional<RgbColor> accentColor() const = 0;
    /// False also when it is not known.
    virtual bool prefersHighContrast() const = 0;
};

/// What the desktop's settings portal knows. Where none runs, nothing is known until one does.
std::unique_ptr<Appearance> desktopAppearance();

} // namespace tallywick
