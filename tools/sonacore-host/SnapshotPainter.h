#pragma once

#include <QCoreApplication>
#include <QImage>
#include <QRgb>

#include <memory>
#include <string>
#include <vector>

class QPainter;

namespace host {

// Keeps the latest spectrum of one channel and the latest levels of every metered channel, and paints them
// offscreen into an image of imageWidth x imageHeight pixels:
//
// - above, the spectrum as bars over a logarithmic frequency axis from 20 Hz to 24 kHz with labelled ticks,
//   and a vertical axis of 10 * log10 of the linear power from +10 dB down to -170 dB, labelled every 20 dB;
//   each pixel column shows the strongest bin whose frequency falls in it, or, where the bins are wider than
//   a column, the bin nearest to the column's frequency;
// - below, one horizontal meter per metered channel: a bar up to the Z-weighted fast level over -100 to
//   0 dB re full scale, with the A-, C- and Z-weighted fast and slow levels and dBFS written beside it.
//
// Painting needs Qt's GUI application object for its fonts: createApplication makes one, on the minimal
// platform unless QT_QPA_PLATFORM names another, so that no display is needed.
//
// Thread affinity: one thread, the host's, on which the deliveries arrive and the image is painted.
class SnapshotPainter {
public:
    static constexpr int imageWidth = 1200;
    static constexpr int imageHeight = 700;
    // The spectrum's plot area in pixels: its left and right edges are 20 Hz and 24 kHz, its top and bottom
    // edges +10 dB and -170 dB.
    static constexpr int plotLeft = 80;
    static constexpr int plotRight = 1170;
    static constexpr int plotTop = 40;
    static constexpr int plotBottom = 440;
    static constexpr double lowestFrequency = 20.0;
    static constexpr double highestFrequency = 24000.0;
    static constexpr double topDecibels = 10.0;
    static constexpr double bottomDecibels = -170.0;
    // The colour of the spectrum's bars, used nowhere else in the image.
    static constexpr QRgb barColour = 0xff2a8fd8;

    // The host's channels to meter; the spectrum shown is that of `spectrumChannel`.
    SnapshotPainter(std::vector<unsigned> meteredChannels, unsigned spectrumChannel, double sampleRate);

    // The horizontal pixel position of a frequency in Hz: plotLeft at 20 Hz, plotRight at 24 kHz, and
    // logarithmic between; outside that range the line continues beyond the plot's edges. NaN for a
    // frequency of 0 Hz or less.
    static double frequencyToX(double hertz);
    // The vertical pixel position of a level in dB: plotTop at +10 dB, plotBottom at -170 dB, linear between,
    // and clamped to the plot (negative infinity, a bin without power, lies on its bottom edge).
    static double decibelsToY(double decibels);

    // Takes a delivered power spectrum; ignored for a channel other than the one shown.
    void updateSpectrum(unsigned channel, const std::vector<double>& power);
    // Takes a sound level delivery's seven values; ignored for a channel not metered.
    void updateLevels(unsigned channel, const std::vector<double>& levels);

    // The picture of what arrived so far; a spectrum or a meter without data says so in words.
    QImage paint() const;
    // Paints and saves to `path` in the format its suffix names (see OutputPaths), as PNG for a suffix that
    // names none. False with a one-sentence `error` when the file cannot be written.
    bool write(const std::string& path, std::string& error) const;

    // The application object of a host that paints: a QGuiApplication, on the minimal platform unless the
    // environment chose one. `argc` must outlive it.
    static std::unique_ptr<QCoreApplication> createApplication(int& argc, char** argv);

private:
    void paintSpectrum(QPainter& painter) const;
    void paintAxes(QPainter& painter) const;
    void paintBars(QPainter& painter) const;
    void paintMeters(QPainter& painter) const;

    std::vector<unsigned> meteredChannels;
    unsigned spectrumChannel;
    double sampleRate;
    std::vector<double> spectrumPower;
    // The latest seven values per metered channel, in the order of meteredChannels; empty until the first.
    std::vector<std::vector<double>> channelLevels;
};

} // namespace host
