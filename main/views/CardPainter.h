#pragma once

#include "views/Theme.h"

#include <QPainter>
#include <QRectF>
#include <QString>

#include <string_view>

namespace tallywick {

/// What a card shows.
struct CardContent {
    QString title;
    QString value;
    std::string_view symbol; ///< in the accent colour; empty: none

    bool operator==(const CardContent&) const = default;
};

/// Draws a card: a rounded area with its title over its value. The value keeps its place when a
/// digit changes.
void paintCard(QPainter& painter, const QRectF& area, const Theme& theme,
               const CardContent& content);

/// Whether all of a card's text can be read in this width.
bool cardFits(const CardContent& content, double width);

} // namespace tallywick
