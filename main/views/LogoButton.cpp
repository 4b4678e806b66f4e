#include "views/LogoButton.h"

#include "base/Product.h"
#include "views/BuiltInPicture.h"
#include "views/DesignLayout.h"

#include <QImage>

namespace tallywick {

LogoButton::LogoButton(const ViewStyle& viewStyle, QWidget* parent)
    : PressablePart(viewStyle, parent) {
    setText(QStringLiteral("Open ") + QString::fromUtf8(OfficialLinks::host));
    setHelp(text());
    setCursor(Qt::PointingHandCursor);
}

void LogoButton::paintEvent(QPaintEvent*) {
    constexpr double margin = DesignLayout::Full::logoMargin;
    PartPainter painter(this, style);
    const QRectF picture = painter.bounds().adjusted(margin, margin, -margin, -margin);
    const double pixelsPerUnit = style.scale * devicePixelRatioF();
    const QPixmap& image = logoOfSize((picture.size() * pixelsPerUnit).toSize());
    painter.drawPixmap(picture, image, QRectF(image.rect()));
    paintFocus(painter, painter.bounds(), painter.bounds().width() * 0.25);
}

const QPixmap& LogoButton::logoOfSize(QSize pixels) {
    if (logo.size() == pixels)
        return logo;
    logo = QPixmap::fromImage(builtInPicture(QStringLiteral("corvane-logo.png"))
                                  .scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
    return logo;
}

} // namespace tallywick
