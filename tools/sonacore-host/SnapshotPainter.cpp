#include "SnapshotPainter.h"

#include "OutputPaths.h"

#include <QColor>
#include <QFont>
#include <QGuiApplication>
#include <QPainter>
#include <QString>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <utility>

namespace host {
namespace {

// The meters' scale in dB re full scale: the left end of a bar and its right end.
constexpr double meterFloor = -100.0;
constexpr double meterCeiling = 0.0;
constexpr int meterTop = 490;
constexpr int meterBottom = 690;
constexpr int meterLeft = 80;
constexpr int meterRight = 560;
constexpr int meterRowMaximum = 40;

const QColor background(0xff, 0xff, 0xff);
const QColor ink(0x20, 0x20, 0x20);
const QColor grid(0xd8, 0xd8, 0xd8);
const QColor meterColour(0x3c, 0xa0, 0x4b);
const QColor meterTrough(0xee, 0xee, 0xee);

// The labelled ticks of the frequency axis, in Hz.
struct FrequencyTick {
    double hertz;
    const char* label;
};
constexpr FrequencyTick frequencyTicks[] = {{20, "20"},     {50, "50"},    {100, "100"}, {200, "200"},
                                            {500, "500"},   {1000, "1k"},  {2000, "2k"}, {5000, "5k"},
                                            {10000, "10k"}, {20000, "20k"}};
constexpr double decibelTickStep = 20.0;

double decades() {
    return std::log10(SnapshotPainter::highestFrequency / SnapshotPainter::lowestFrequency);
}

// The inverse of frequencyToX: the frequency at a horizontal pixel position.
double xToFrequency(double x) {
    const double fraction =
        (x - SnapshotPainter::plotLeft) / (SnapshotPainter::plotRight - SnapshotPainter::plotLeft);
    return SnapshotPainter::lowestFrequency * std::pow(10.0, fraction * decades());
}

QString decibelText(double value) {
    if (std::isnan(value)) {
        return QStringLiteral("-");
    }
    if (std::isinf(value)) {
        return value > 0.0 ? QStringLiteral("inf") : QStringLiteral("-inf");
    }
    return QString::number(value, 'f', 2);
}

} // namespace

SnapshotPainter::SnapshotPainter(std::vector<unsigned> channels, unsigned spectrumChannel, double sampleRate)
    : meteredChannels(std::move(channels)), spectrumChannel(spectrumChannel), sampleRate(sampleRate),
      channelLevels(meteredChannels.size()) {}

double SnapshotPainter::frequencyToX(double hertz) {
    if (!(hertz > 0.0)) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    return plotLeft + (plotRight - plotLeft) * std::log10(hertz / lowestFrequency) / decades();
}

double SnapshotPainter::decibelsToY(double decibels) {
    if (std::isnan(decibels)) {
        return plotBottom;
    }
    const double clamped = std::clamp(decibels, bottomDecibels, topDecibels);
    return plotTop + (plotBottom - plotTop) * (topDecibels - clamped) / (topDecibels - bottomDecibels);
}

void SnapshotPainter::updateSpectrum(unsigned channel, const std::vector<double>& power) {
    if (channel == spectrumChannel) {
        spectrumPower = power;
    }
}

void SnapshotPainter::updateLevels(unsigned channel, const std::vector<double>& levels) {
    for (std::size_t index = 0; index < meteredChannels.size(); ++index) {
        if (meteredChannels[index] == channel) {
            channelLevels[index] = levels;
        }
    }
}

QImage SnapshotPainter::paint() const {
    QImage image(imageWidth, imageHeight, QImage::Format_RGB32);
    image.fill(background);
    QPainter painter(&image);
    QFont font = painter.font();
    font.setPixelSize(13);
    painter.setFont(font);
    paintSpectrum(painter);
    paintMeters(painter);
    painter.end();
    return image;
}

void SnapshotPainter::paintSpectrum(QPainter& painter) const {
    const QRect plot(QPoint(plotLeft, plotTop), QPoint(plotRight - 1, plotBottom - 1));
    painter.setPen(ink);
    const std::size_t frameLength = 2 * spectrumPower.size();
    const QString title =
        spectrumPower.empty()
            ? QStringLiteral("Spectrum of channel %1").arg(spectrumChannel)
            : QStringLiteral("Spectrum of channel %1: 10 log10 of the power of a %2-point FFT")
                  .arg(spectrumChannel)
                  .arg(frameLength);
    painter.drawText(QRect(plotLeft, 8, plotRight - plotLeft, 24), Qt::AlignLeft | Qt::AlignVCenter, title);

    paintAxes(painter);
    if (spectrumPower.empty()) {
        painter.drawText(plot, Qt::AlignCenter, QStringLiteral("no spectrum arrived"));
    } else {
        paintBars(painter);
    }
    painter.setPen(ink);
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(plot);
}

// The grid, ticks and labels of both axes.
void SnapshotPainter::paintAxes(QPainter& painter) const {
    for (const FrequencyTick& tick : frequencyTicks) {
        const int x = static_cast<int>(std::floor(frequencyToX(tick.hertz)));
        painter.setPen(grid);
        painter.drawLine(x, plotTop, x, plotBottom - 1);
        painter.setPen(ink);
        painter.drawLine(x, plotBottom, x, plotBottom + 4);
        painter.drawText(QRect(x - 30, plotBottom + 6, 60, 16), Qt::AlignHCenter | Qt::AlignTop,
                         QString::fromLatin1(tick.label));
    }
    painter.drawText(QRect(plotRight - 60, plotBottom + 22, 60, 16), Qt::AlignRight | Qt::AlignTop,
                     QStringLiteral("Hz"));
    for (double decibels = topDecibels - 10.0; decibels >= bottomDecibels; decibels -= decibelTickStep) {
        const int y = static_cast<int>(std::floor(decibelsToY(decibels)));
        painter.setPen(grid);
        painter.drawLine(plotLeft, y, plotRight - 1, y);
        painter.setPen(ink);
        painter.drawLine(plotLeft - 4, y, plotLeft - 1, y);
        painter.drawText(QRect(plotLeft - 60, y - 8, 52, 16), Qt::AlignRight | Qt::AlignVCenter,
                         QString::number(decibels, 'f', 0));
    }
    painter.drawText(QRect(plotLeft - 60, plotTop - 24, 52, 16), Qt::AlignRight | Qt::AlignVCenter,
                     QStringLiteral("dB"));
}

// One bar per pixel column, up to the level of its strongest bin.
void SnapshotPainter::paintBars(QPainter& painter) const {
    const std::size_t frameLength = 2 * spectrumPower.size();
    const double binWidth = sampleRate / static_cast<double>(frameLength);
    const auto bins = static_cast<long long>(spectrumPower.size());
    for (int x = plotLeft; x < plotRight; ++x) {
        // The bins whose frequencies fall in this column; where a bin is wider than a column none may,
        // and the column shows the bin nearest to its middle.
        const long long first = static_cast<long long>(std::ceil(xToFrequency(x) / binWidth));
        const long long last = static_cast<long long>(std::ceil(xToFrequency(x + 1) / binWidth)) - 1;
        double strongest = -1.0;
        if (first <= last) {
            for (long long bin = first; bin <= last && bin < bins; ++bin) {
                strongest = std::max(strongest, spectrumPower[static_cast<std::size_t>(bin)]);
            }
        } else {
            const long long nearest = std::llround(xToFrequency(x + 0.5) / binWidth);
            if (nearest >= 0 && nearest < bins) {
                strongest = spectrumPower[static_cast<std::size_t>(nearest)];
            }
        }
        if (!(strongest > 0.0)) {
            continue;
        }
        const int top = static_cast<int>(std::floor(decibelsToY(10.0 * std::log10(strongest))));
        if (top < plotBottom) {
            painter.fillRect(x, top, 1, plotBottom - top, QColor::fromRgb(barColour));
        }
    }
}

void SnapshotPainter::paintMeters(QPainter& painter) const {
    painter.setPen(ink);
    painter.drawText(QRect(meterLeft, meterTop - 22, meterRight - meterLeft, 18),
                     Qt::AlignLeft | Qt::AlignTop,
                     QStringLiteral("Levels in dB re full scale, bar: dBZ fast over -100 to 0 dB"));
    if (meteredChannels.empty()) {
        return;
    }
    const int rowHeight =
        std::min(meterRowMaximum, (meterBottom - meterTop) / static_cast<int>(meteredChannels.size()));
    for (std::size_t index = 0; index < meteredChannels.size(); ++index) {
        const int top = meterTop + static_cast<int>(index) * rowHeight;
        const QRect trough(meterLeft, top + 2, meterRight - meterLeft, std::max(2, rowHeight - 6));
        painter.setPen(ink);
        painter.drawText(QRect(10, top, meterLeft - 16, rowHeight - 2), Qt::AlignRight | Qt::AlignVCenter,
                         QStringLiteral("ch%1").arg(meteredChannels[index]));
        painter.fillRect(trough, meterTrough);
        const std::vector<double>& levels = channelLevels[index];
        const auto value = [&levels](std::size_t at) {
            return at < levels.size() ? levels[at] : std::numeric_limits<double>::quiet_NaN();
        };
        // The y series' order: dBA fast, dBA slow, dBC fast, dBC slow, dBZ fast, dBZ slow, dBFS.
        const double zFast = value(4);
        if (!std::isnan(zFast)) {
            const double fraction =
                (std::clamp(zFast, meterFloor, meterCeiling) - meterFloor) / (meterCeiling - meterFloor);
            const int width = static_cast<int>(std::lround(fraction * trough.width()));
            painter.fillRect(QRect(trough.left(), trough.top(), width, trough.height()), meterColour);
        }
        const QString text = levels.empty()
                                 ? QStringLiteral("no level arrived")
                                 : QStringLiteral("A %1 / %2   C %3 / %4   Z %5 / %6 (fast / slow)   dBFS %7")
                                       .arg(decibelText(value(0)), decibelText(value(1)),
                                            decibelText(value(2)), decibelText(value(3)), decibelText(zFast),
                                            decibelText(value(5)), decibelText(value(6)));
        painter.setPen(ink);
        painter.drawText(QRect(meterRight + 12, top, imageWidth - meterRight - 20, rowHeight - 2),
                         Qt::AlignLeft | Qt::AlignVCenter, text);
    }
}

bool SnapshotPainter::write(const std::string& path, std::string& error) const {
    const QImage image = paint();
    const std::string format = OutputPaths::imageFormat(path);
    if (!image.save(QString::fromStdString(path), format.empty() ? "PNG" : format.c_str())) {
        error = "Cannot write the snapshot '" + path + "': check that its folder exists and is writable.";
        return false;
    }
    return true;
}

std::unique_ptr<QCoreApplication> SnapshotPainter::createApplication(int& argc, char** argv) {
    // Fonts need a GUI application, and a platform that needs no display. The minimal one paints into images
    // like the offscreen one, but Qt 5's offscreen platform never frees its screen, which a leak check at
    // exit reports on every run. Without its option enable_fonts the minimal platform knows no font at all
    // and every label of the image stays blank; with it, it takes the system's fonts through fontconfig.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "minimal:enable_fonts");
    }
    return std::make_unique<QGuiApplication>(argc, argv);
}

} // namespace host
