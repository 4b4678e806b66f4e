#pragma once

#include <QRect>
#include <QRectF>
#include <QWidget>
#include <QtMath>

/// Where every part of both layouts stands, in design units with the origin in the layout's top
/// left corner. A layout is drawn at one scale, so this is the only place that knows positions.
namespace tallywick::DesignLayout {

/// The mini layout: 500 x 225.
namespace Mini {
inline constexpr QRectF caption{16, 15, 240, 26};
inline constexpr QRectF pin{314, 15, 56, 26};
inline constexpr QRectF expand{376, 15, 84, 26};
inline constexpr QRectF close{466, 16, 24, 24};
inline constexpr QRectF usage{16, 50, 250, 36};
inline constexpr QRectF remaining{274, 50, 210, 36};
inline constexpr QRectF meter{16, 94, 468, 30};
inline constexpr QRectF lifetime{16, 134, 229, 56};
inline constexpr QRectF latestDay{255, 134, 229, 56};
inline constexpr QRectF status{16, 199, 460, 16};
} // namespace Mini

/// The full layout: 520 x 635, and 24 more for each volume row beyond the second.
namespace Full {
inline constexpr double baseHeight = 635;

inline constexpr QRectF header{0, 0, 520, 60};
inline constexpr QRectF headerDivider{16, 62, 488, 1};

// In the header
/// With `logoMargin` around the picture, where the ring of the keyboard focus is seen.
inline constexpr QRectF logo{13, 13, 40, 40};
inline constexpr double logoMargin = 3;
inline constexpr QRectF title{60, 14, 200, 20};
inline constexpr QRectF subtitle{60, 34, 200, 16};
inline constexpr QRectF badge{356, 15, 120, 18};
inline constexpr QRectF status{206, 35, 270, 16};
inline constexpr QRectF close{488, 21, 24, 24};

inline constexpr QRectF usage{16, 76, 290, 72};
inline constexpr QRectF remaining{306, 88, 198, 24};
inline constexpr QRectF countdown{306, 112, 198, 24};
inline constexpr QRectF meter{16, 164, 488, 30};

inline constexpr QRectF thisWeek{16, 208, 240, 16};
inline constexpr QRectF lookedBack{264, 208, 240, 16}; ///< at the right end of the same line
inline constexpr QRectF graph{16, 232, 488, 36};
inline constexpr QRectF lifetime{16, 280, 239, 58};
inline constexpr QRectF latestDay{265, 280, 239, 58};

inline constexpr QRectF hardwareDivider{16, 351, 488, 1};
inline constexpr QRectF localHardware{16, 364, 240, 16};
inline constexpr QRectF thisMac{264, 364, 240, 16};
inline constexpr QRectF cpu{16, 388, 239, 58};
inline constexpr QRectF memory{265, 388, 239, 58};

inline constexpr QRectF volumes{16, 460, 240, 16};
inline constexpr QRectF freeAndTotal{264, 460, 240, 16};
/// The first volume row; the others follow below. A row reaches over the margins by
/// `volumeRowOverhang`, where it only shows that it is pointed at.
inline constexpr double volumeRowOverhang = 8;
inline constexpr QRectF firstVolumeRow{8, 481, 504, 24};

/// How far a section moves down where fewer than two volumes leave room free: this share of it, so
/// that all gaps grow alike.
inline constexpr double usageShare = 1.0 / 6;
inline constexpr double weekShare = 2.0 / 6;
inline constexpr double hardwareDividerShare = 3.0 / 6;
inline constexpr double hardwareShare = 4.0 / 6;
inline constexpr double volumesShare = 5.0 / 6;

// Anchored to the bottom: these are the places in a layout of the base height.
inline constexpr QRectF toolbarDivider{16, 555, 488, 1};
inline constexpr QRectF toolbar{16, 568, 488, 26};
inline constexpr QRectF footer{16, 603, 484, 16};
} // namespace Full

/// In the toolbar
namespace Toolbar {
inline constexpr QRectF mini{0, 0, 48, 26};
inline constexpr QRectF theme{54, 0, 58, 26};
inline constexpr QRectF pin{117, 0, 116, 26};
inline constexpr QRectF refresh{238, 0, 88, 26};
inline constexpr QRectF settings{332, 0, 76, 26};
inline constexpr QRectF share{414, 0, 74, 26};
} // namespace Toolbar

/// The resize grip, in points at every scale.
inline constexpr int gripSize = 16;

/// The place, given for the base height, of something anchored to the bottom of a layout of the
/// height `layoutHeight`.
constexpr QRectF anchoredToBottom(const QRectF& place, double layoutHeight) {
    return place.translated(0, layoutHeight - Full::baseHeight);
}

/// A place in whole points of the window. Edges that meet in the design meet here too.
inline QRect inPoints(const QRectF& place, double scale) {
    const QPoint topLeft(qRound(place.left() * scale), qRound(place.top() * scale));
    const QPoint end(qRound(place.right() * scale), qRound(place.bottom() * scale));
    return {topLeft, end - QPoint(1, 1)};
}

/// Gives a part its place in what it stands in.
inline void put(QWidget* part, const QRectF& place, double scale) {
    part->setGeometry(inPoints(place, scale));
}

} // namespace tallywick::DesignLayout
