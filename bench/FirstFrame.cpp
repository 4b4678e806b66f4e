// first_frame PROGRAM ARGUMENTS...: starts a program on an X display that shows nothing else, and
// prints its process id and the milliseconds until the display's middle row first shows something
// of the size of a window. The program goes on when this one ends.

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QProcess>
#include <QScreen>
#include <QThread>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr qint64 patience = 20'000;     // milliseconds
constexpr unsigned long interval = 500; // microseconds between two looks
constexpr int windowArea = 2'000;       // pixels; the smallest of the windows has more

QImage display() { return QGuiApplication::primaryScreen()->grabWindow(0).toImage(); }

/// Whether so many pixels differ. Both pictures have 32 bits a pixel.
bool differ(const QImage& one, const QImage& other) {
    int count = 0;
    for (int y = 0; y < one.height() && count < windowArea; ++y) {
        const auto* first = reinterpret_cast<const QRgb*>(one.constScanLine(y));
        const auto* second = reinterpret_cast<const QRgb*>(other.constScanLine(y));
        for (int x = 0; x < one.width(); ++x)
            count += first[x] != second[x] ? 1 : 0;
    }
    return count >= windowArea;
}

} // namespace

int main(int argc, char** argv) {
    const QGuiApplication application(argc, argv);
    QStringList command = QCoreApplication::arguments().mid(1);
    if (command.isEmpty())
        return EXIT_FAILURE;
    const QImage empty = display();
    QProcess process;
    process.setProgram(command.takeFirst());
    process.setArguments(command);
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    QElapsedTimer time;
    time.start();
    qint64 id = 0;
    if (!process.startDetached(&id))
        return EXIT_FAILURE;
    while (!differ(empty, display())) {
        if (time.elapsed() > patience)
            return EXIT_FAILURE;
        QThread::usleep(interval);
    }
    std::printf("%lld %.1f\n", id, static_cast<double>(time.nsecsElapsed()) / 1e6);
    return EXIT_SUCCESS;
}
