// sonacore-host: live sound levels and spectra of IEEE 1722 audio streams, built only on the library's public
// interface.
//
// For each metered channel it runs two of the library's analysers and shows what they deliver: a sound level
// processor, whose A-, C- and Z-weighted fast levels in dB re full scale it prints as they come, and a
// spectrum processor of 16384 points, of whose power spectrum it prints the strongest bin's frequency in Hz
// (bin times 48000 / 16384, 2.93 Hz apart). On a terminal the channels are bars that redraw in place,
// otherwise plain lines once a second.
//
// With no arguments it runs a self-contained demo: it creates a private network namespace with a veth pair,
// starts our AVTP talker inside it sending a 1 kHz full-scale sine and a 440 Hz half-scale sine, captures on
// the other end through the library, and shows the two channels for about ten seconds: channel 0 settles at
// -3.01 dB (dBZ) near 1000 Hz, channel 1 at -9.03 dB (dBZ) near 440 Hz. Everything it created is removed at
// the end, also on Ctrl-C. The demo needs root (it creates a namespace).
//
// On a real network, --discover lists the AAF talkers heard on an adapter, with what the library cannot
// analyse and why; without --mac the host monitors the first stream heard that it can analyse, with that
// stream's channels and samples per frame. Discovery is the one part that calls libpcap itself, since the
// library's interface cannot list streams; all else goes through the library's public interface.
//
// --record FILE.csv appends every delivery to a CSV file as it arrives; --snapshot FILE.png paints the first
// metered channel's last spectrum and every channel's last levels into an image at the end of the run, also
// after Ctrl-C. The snapshot is the one use of Qt's GUI module, offscreen, so that it needs no display.
//
// Run: sonacore-host                         the built-in demo
//      sonacore-host --list                  the capture adapters, numbered from 1
//      sonacore-host --discover --adapter eth1 [--seconds 2]
//      sonacore-host --adapter eth1 [--mac 00:a0:c9:11:22:33] [--channels 2] [--duration 30] ...
//      sonacore-host --record levels.csv --snapshot spectrum.png    the demo, recorded and painted
//      sonacore-host --help                  every option
#include "DeliveryRecorder.h"
#include "DiscoveryCapture.h"
#include "HostOptions.h"
#include "MeterDisplay.h"
#include "NetworkSandbox.h"
#include "SnapshotPainter.h"
#include "SpectrumPeak.h"
#include "StreamDiscovery.h"

#include "exceptions/SonaCoreException.h"
#include "sonacore/IChannelAmountChanged.h"
#include "sonacore/INetworkDeviceManager.h"
#include "sonacore/ISonaCore.h"
#include "sonacore/ISoundLevelValueConfig.h"
#include "sonacore/ISpectrumConfig.h"
#include "sonacore/IStatusMessage.h"
#include "version/LibraryVersion.h"

#include <QCoreApplication>
#include <QTimer>

#include <csignal>
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr unsigned int hostInterfaceVersion = 101;

volatile std::sig_atomic_t interrupted = 0;

void onSignal(int) {
    interrupted = 1;
}

// The library logs its progress at debug level; only its warnings are shown, on standard error.
void libraryLog(QtMsgType type, const QMessageLogContext&, const QString& message) {
    if (type != QtDebugMsg && type != QtInfoMsg) {
        std::cerr << "sonacore: " << message.toStdString() << "\n";
    }
}

// After the library has been torn down, its remaining lines (the capture ending as the program exits) are
// of no interest to the user.
void silentLog(QtMsgType, const QMessageLogContext&, const QString&) {}

void printAdapters(sonacore::INetworkDeviceManager& manager) {
    std::cout << "Capture adapters:\n";
    for (std::uint64_t number = 1; number <= manager.getDeviceCount(); ++number) {
        const sonacore::INetworkDeviceInfo& adapter = manager.getDeviceInfo(number);
        std::cout << "  " << number << ". " << adapter.getDeviceName();
        if (!adapter.isDescriptionMissing()) {
            std::cout << " (" << adapter.getDeviceDescription() << ")";
        }
        std::cout << "\n";
    }
}

// The adapter by number or by name; null with a sentence when there is none.
sonacore::INetworkDeviceInfo* findAdapter(sonacore::INetworkDeviceManager& manager,
                                          const std::string& wanted) {
    for (std::uint64_t number = 1; number <= manager.getDeviceCount(); ++number) {
        sonacore::INetworkDeviceInfo& adapter = manager.getDeviceInfo(number);
        if (adapter.getDeviceName() == wanted || std::to_string(number) == wanted) {
            return &adapter;
        }
    }
    return nullptr;
}

// Listens on the options' adapter for AAF talkers. Returns 0, or the program's exit status with the reason on
// standard error when it cannot: 2 for an unknown adapter, 1 for a capture that fails.
int listenForStreams(const host::HostOptions& options, std::string& adapterName,
                     std::vector<host::DiscoveredStream>& streams, std::uint64_t& kernelDrops) {
    sonacore::INetworkDeviceManager* manager = sonacore::INetworkDeviceManager::createInstance();
    // The sandbox's interface appeared after the library listed the adapters at load.
    manager->scanDevices();
    const sonacore::INetworkDeviceInfo* adapter = findAdapter(*manager, options.adapter);
    if (adapter == nullptr) {
        std::cerr << "There is no capture adapter '" << options.adapter
                  << "': run 'sonacore-host --list' to see the adapters and their numbers.\n";
        return 2;
    }
    adapterName = adapter->getDeviceName();
    host::StreamDiscovery discovery;
    std::string error;
    if (!host::DiscoveryCapture::listen(
            adapterName, options.discoverySeconds, [] { return interrupted != 0; }, discovery, kernelDrops,
            error)) {
        std::cerr << error << "\n";
        return 1;
    }
    streams = discovery.streams();
    return 0;
}

void printStreams(const std::string& adapterName, double seconds,
                  const std::vector<host::DiscoveredStream>& streams, std::uint64_t kernelDrops) {
    // Ctrl-C ends the listening early.
    std::ostringstream time;
    if (interrupted != 0) {
        time << "until interrupted";
    } else {
        time << "in " << seconds << " s";
    }
    if (streams.empty()) {
        std::cout << "No AAF talker heard on " << adapterName << " " << time.str() << ".\n";
    } else {
        std::cout << "AAF talkers heard on " << adapterName << " " << time.str() << ":\n"
                  << host::StreamDiscovery::formatTable(streams);
    }
    if (kernelDrops > 0) {
        std::cout << "The capture dropped " << kernelDrops << " frames in the kernel: the rates read low.\n";
    }
}

// Without --mac on a real network: the first stream heard that the library can analyse, with its channels and
// samples per frame unless the command line gave them. False when the program is to end, with its exit
// status in `status`: when no such stream was heard, the listening failed or Ctrl-C ended it.
bool chooseStream(host::HostOptions& options, int& status) {
    std::string adapterName;
    std::vector<host::DiscoveredStream> streams;
    std::uint64_t kernelDrops = 0;
    status = listenForStreams(options, adapterName, streams, kernelDrops);
    if (status != 0 || interrupted != 0) {
        return false;
    }
    const std::optional<host::DiscoveredStream> chosen = host::StreamDiscovery::firstAnalysable(streams);
    if (!chosen) {
        printStreams(adapterName, options.discoverySeconds, streams, kernelDrops);
        std::cerr << "No stream the library can analyse was heard on " << adapterName
                  << ": give the stream's source address with --mac.\n";
        status = 3;
        return false;
    }
    std::string error;
    if (!options.useStream(chosen->header.deviceKey, chosen->header.channels,
                           chosen->samplesPerFrame().value_or(0), error)) {
        std::cerr << error << "\n";
        status = 2;
        return false;
    }
    std::cout << "Monitoring " << host::StreamDiscovery::summary(*chosen) << "\n";
    return true;
}

int run(const host::HostOptions& options) {
    std::unique_ptr<host::DeliveryRecorder> recorder;
    if (!options.recordPath.empty()) {
        std::string error;
        recorder = host::DeliveryRecorder::open(
            options.recordPath, host::HostOptions::spectrumFrameLength / 2, host::HostOptions::sampleRate,
            host::DeliveryRecorder::Clock::now(), error);
        if (!recorder) {
            std::cerr << error << "\n";
            return 2;
        }
    }

    ISonaCore* core = ISonaCore::createInstance();
    core->setMessageReceiver([](std::shared_ptr<sonacore::imessages::IBaseMessage> message) {
        if (message->getMessageClass() == "StatusMessage") {
            std::cerr << "status: " << message->getMessageId() << ": " << message->getMessageText() << "\n";
        } else if (message->getMessageClass() == "ChannelAmountChanged") {
            auto change = std::dynamic_pointer_cast<sonacore::imessages::IChannelAmountChanged>(message);
            std::cerr << "status: " << message->getMessageId() << " now sends "
                      << static_cast<std::int32_t>(change->getChannelAmountAfter()) << " channels\n";
        }
    });

    sonacore::INetworkDeviceManager* manager = sonacore::INetworkDeviceManager::createInstance();
    // The sandbox's interface appeared after the library listed the adapters at load.
    manager->scanDevices();
    sonacore::INetworkDeviceInfo* adapter = findAdapter(*manager, options.adapter);
    if (adapter == nullptr) {
        std::cerr << "There is no capture adapter '" << options.adapter
                  << "': run 'sonacore-host --list' to see the adapters and their numbers.\n";
        return 2;
    }

    // Levels need the buffer's signal whatever the spectra run on: a timer tick carries no amount of samples,
    // and the sound level processor completes no block without one.
    auto* buffer = sonacore::IBufferConfiguration::createInstance("host buffer", options.bufferSize,
                                                                  options.signalingAmount);
    auto* device = sonacore::IDeviceConfiguration::createInstance("host device", *buffer, options.sampleSize,
                                                                  options.channels, options.samplesPerFrame);
    auto* stream =
        sonacore::IStreamConfiguration::createInstance("host stream", options.deviceKey, *adapter, *device);

    sonacore::ihandles::INetworkReceiverHandle* receiver = nullptr;
    try {
        receiver = core->addRemoteStreamReceiver(*stream);
    } catch (const exceptions::InstanceNotCreateable&) {
        std::cerr << "Cannot capture on '" << adapter->getDeviceName()
                  << "': run as root, or give this program the right to capture (setcap "
                     "cap_net_raw,cap_net_admin+ep sonacore-host).\n";
        ISonaCore::destroy();
        return 1;
    }

    host::MeterDisplay display(options.meteredChannels);
    host::SnapshotPainter snapshot(options.meteredChannels, options.meteredChannels.front(),
                                   host::HostOptions::sampleRate);
    std::vector<sonacore::ihandles::IProcessorHandle*> processors;
    for (const unsigned channel : options.meteredChannels) {
        const auto audioChannel = static_cast<unsigned char>(channel);
        const std::string suffix = " " + std::to_string(channel);

        auto* level = sonacore::iprocess::ISoundLevelValueConfig::createInstance("level" + suffix,
                                                                                 options.levelSampleAmount());
        sonacore::ihandles::IProcessorHandle* levelHandle =
            core->addProcessor(*sonacore::IProcessConfiguration::createInstance(
                "level" + suffix, *level, options.deviceKey, audioChannel));
        core->getMeteringDataSource(*levelHandle)
            ->bindChannelCallback([&display, &snapshot, &recorder, channel](sonacore::IChannelData& data) {
                using namespace sonacore::iprocess;
                const std::vector<double> y = data.getVectorData().getY();
                if (y.size() < soundLevelValueTypes.size()) {
                    return;
                }
                display.updateLevels(channel, y[dbaSplFast.identifier], y[dbcSplFast.identifier],
                                     y[dbzSplFast.identifier]);
                snapshot.updateLevels(channel, y);
                if (recorder) {
                    recorder->recordLevels(channel, y, host::DeliveryRecorder::Clock::now());
                }
            });
        processors.push_back(levelHandle);

        // By default a spectrum every 200 ms on the processor's own timer: 5 transforms of 16384 points and 5
        // deliveries of 8192 bins a second per channel, where the buffer's signal every 480 samples would ask
        // for 100 of each, while the display shows no more than 10 a second.
        auto* spectrum =
            options.clockPeriodMs > 0
                ? sonacore::iprocess::ISpectrumConfig::createInstance(
                      "spectrum" + suffix, host::HostOptions::spectrumFrameLength, options.clockPeriodMs)
                : sonacore::iprocess::ISpectrumConfig::createInstance("spectrum" + suffix,
                                                                      host::HostOptions::spectrumFrameLength);
        spectrum->setFftOrder(host::HostOptions::spectrumOrder);
        sonacore::ihandles::IProcessorHandle* spectrumHandle =
            core->addProcessor(*sonacore::IProcessConfiguration::createInstance(
                "spectrum" + suffix, *spectrum, options.deviceKey, audioChannel));
        core->getMeteringDataSource(*spectrumHandle)
            ->bindChannelCallback([&display, &snapshot, &recorder, channel](sonacore::IChannelData& data) {
                const std::vector<double> power = data.getVectorData().getY();
                display.updateSpectrum(channel, host::peakFrequency(power, host::HostOptions::sampleRate));
                snapshot.updateSpectrum(channel, power);
                if (recorder) {
                    recorder->recordSpectrum(channel, power, host::DeliveryRecorder::Clock::now());
                }
            });
        processors.push_back(spectrumHandle);
    }
    for (auto* handle : processors) {
        handle->start();
    }
    receiver->start();

    QTimer stopper;
    stopper.setSingleShot(true);
    QObject::connect(&stopper, &QTimer::timeout, QCoreApplication::instance(), &QCoreApplication::quit,
                     Qt::DirectConnection);
    stopper.start(static_cast<int>(options.durationSeconds * 1000));
    QTimer interruption;
    QObject::connect(
        &interruption, &QTimer::timeout, QCoreApplication::instance(),
        [] {
            if (interrupted != 0) {
                QCoreApplication::quit();
            }
        },
        Qt::DirectConnection);
    interruption.start(50);
    QTimer redraw;
    QObject::connect(
        &redraw, &QTimer::timeout, &redraw, [&display] { display.draw(); }, Qt::DirectConnection);
    redraw.start(100);

    QCoreApplication::exec();
    display.finish();
    ISonaCore::destroy();
    qInstallMessageHandler(silentLog);
    int status = 0;
    if (recorder) {
        if (!recorder->error().empty()) {
            std::cerr << recorder->error() << "\n";
            status = 1;
        }
        std::cout << "Recorded " << recorder->levelRows() << " level rows and " << recorder->spectrumRows()
                  << " spectrum rows in " << options.recordPath << ".\n";
    }
    if (!options.snapshotPath.empty()) {
        std::string error;
        if (snapshot.write(options.snapshotPath, error)) {
            std::cout << "Snapshot of " << host::SnapshotPainter::imageWidth << "x"
                      << host::SnapshotPainter::imageHeight << " pixels written to " << options.snapshotPath
                      << ".\n";
        } else {
            std::cerr << error << "\n";
            status = 1;
        }
    }
    if (!display.sawData()) {
        std::cerr << "No audio arrived from " << options.deviceKey << " on " << adapter->getDeviceName()
                  << ": check the stream's source address (--mac) and the adapter.\n";
        return 3;
    }
    return status;
}

} // namespace

int main(int argc, char** argv) {
    qInstallMessageHandler(libraryLog);
    host::HostOptions options;
    std::string error;
    if (!host::HostOptions::parse(argc, argv, options, error)) {
        std::cerr << error << "\n";
        return 2;
    }
    // Only a run that paints a snapshot needs Qt's GUI application; the others stay on Qt Core.
    const std::unique_ptr<QCoreApplication> application =
        options.snapshotPath.empty() ? std::make_unique<QCoreApplication>(argc, argv)
                                     : host::SnapshotPainter::createApplication(argc, argv);
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    if (options.help) {
        std::cout << host::HostOptions::usage();
        return 0;
    }

    std::cout << "SonaCore " << vq::sonaCoreLib::getVersion() << ", interface "
              << vq::sonaCoreLib::getInterfaceVersion()
              << (vq::sonaCoreLib::isCompatibleWithInterfaceVersion(hostInterfaceVersion)
                      ? " (compatible)"
                      : " (NOT compatible)")
              << "\n";
    if (!vq::sonaCoreLib::isCompatibleWithInterfaceVersion(hostInterfaceVersion)) {
        std::cerr << "This program was built for interface version " << hostInterfaceVersion
                  << " of the library: rebuild it against the installed headers.\n";
        return 1;
    }
    if (options.list) {
        printAdapters(*sonacore::INetworkDeviceManager::createInstance());
        return 0;
    }

    std::unique_ptr<host::NetworkSandbox> sandbox;
    if (options.adapter.empty()) {
        sandbox = host::NetworkSandbox::create(options, error);
        if (!sandbox) {
            std::cerr << error << "\n";
            return 1;
        }
        options.adapter = sandbox->captureInterface();
        if (options.discover) {
            std::cout << "Built-in demo: a talker in namespace " << sandbox->namespaceName() << " sends on "
                      << sandbox->talkerInterface() << ", heard on " << sandbox->captureInterface() << ".\n";
        } else {
            std::cout << "Built-in demo: a talker in namespace " << sandbox->namespaceName() << " sends on "
                      << sandbox->talkerInterface() << ", captured on " << sandbox->captureInterface()
                      << " for " << options.durationSeconds << " s. Ctrl-C ends it early.\n";
        }
    }
    if (options.discover) {
        std::string adapterName;
        std::vector<host::DiscoveredStream> streams;
        std::uint64_t kernelDrops = 0;
        if (const int status = listenForStreams(options, adapterName, streams, kernelDrops); status != 0) {
            return status;
        }
        printStreams(adapterName, options.discoverySeconds, streams, kernelDrops);
        return 0;
    }
    if (!sandbox && !options.macGiven) {
        if (int status = 0; !chooseStream(options, status)) {
            return status;
        }
    }
    try {
        return run(options);
    } catch (const std::exception& failure) {
        std::cerr << "The library refused the set-up: " << failure.what() << "\n";
        ISonaCore::destroy();
        return 1;
    }
}
