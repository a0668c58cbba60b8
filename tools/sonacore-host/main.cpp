// sonacore-host: live sound levels and spectra of IEEE 1722 audio streams, built only on the library's public
// interface.
//
// For each metered channel it runs two of the library's analysers and shows what they deliver: a sound level
// processor, whose seven levels in dB re full scale (A-, C- and Z-weighted, fast and slow, and dBFS) it
// shows as they come, and a spectrum processor of 16384 points (bins 48000 / 16384 = 2.93 Hz apart).
//
// On a terminal it is a live view drawn with ncurses (see TerminalView.h): every channel's levels with bar
// meters, peak hold and a clip mark, the selected channel's averaged spectrum over a logarithmic Hz axis, and
// the library's status messages; keys switch the channel, the FFT order (10 to 16) and the averaging, q ends
// it. Otherwise, when the output goes to a file or a pipe, it prints plain lines once a second: the A, C and
// Z fast levels and the strongest bin's frequency of each channel.
//
// With no arguments it runs a self-contained demo: it creates a private network namespace with a veth pair,
// starts our AVTP talker inside it sending four channels (a 1 kHz full-scale sine, a 440 Hz half-scale sine,
// white noise, and a 2 kHz sine whose level changes every 2 s), captures on the other end through the library
// and shows them for ten seconds (--duration for longer): channel 0 settles at -3.01 dB (dBZ) near 1000 Hz,
// channel 1 at -9.03 dB (dBZ) near 440 Hz. The demo needs root (it creates a namespace).
//
// Every way out cleans up before the program ends: the duration, q, Ctrl-C (exit status 130), SIGTERM (143),
// a closed terminal (SIGHUP, 129) and a closed output (141, `| head -3`) all stop and reap the demo's talker,
// delete its namespace, flush the record and write the snapshot; the signal handlers only note the signal
// and wake the event loop (see RunSignals.h). What a run killed by SIGKILL left behind, the next demo run
// removes (see StaleSandboxSweeper.h). Other exit statuses: 1 a failed run, 2 a bad command line, output
// path or adapter, 3 no audio or no stream the library can analyse.
//
// The command line is read whole before anything starts: a number outside its range (--help states each)
// or a channel named twice in --meter is refused at once with exit status 2 (see HostOptions.h). So are
// --record and --snapshot paths that cannot be written (see OutputPaths.h); the snapshot is written in the
// format its suffix names.
//
// On a real network, --discover lists the AAF talkers heard on an adapter, with what the library cannot
// analyse and why. A monitoring run listens first too, and takes the stream in the form its frames state:
// sample format (16-, 24- and 32-bit integers, 32-bit floats), channels, samples per frame and VLAN tag (see
// StreamChoice.h and StreamSetup.h). Without --mac it monitors the first stream heard that the library can
// analyse; with --mac the named one, in the command line's form should it not be heard. Discovery is the one
// part that calls libpcap itself, since the library's interface cannot list streams; all else goes through
// the library's public interface.
//
// The library's progress lines, and the warnings that every start-up brings, are shown with --verbose only
// (see LibraryLog.h).
//
// --record FILE.csv appends every delivery to a CSV file as it arrives; --snapshot FILE.png paints the first
// metered channel's last spectrum and every channel's last levels into an image at the end of the run, also
// after Ctrl-C. The snapshot is the one use of Qt's GUI module, offscreen, so that it needs no display.
//
// Run: sonacore-host                         the built-in demo
//      sonacore-host --duration 60           the demo for a minute
//      sonacore-host --list [--all]          the Ethernet capture adapters (--all: every one), from 1
//      sonacore-host --version               the monitor's name and the library's version
//      sonacore-host --discover --adapter eth1 [--seconds 2]
//      sonacore-host --adapter eth1 [--mac 00:a0:c9:11:22:33] [--channels 2] [--duration 30] ...
//      sonacore-host --verbose               the demo, with the library's progress lines
//      sonacore-host --record levels.csv --snapshot spectrum.png    the demo, recorded and painted
//      sonacore-host --help                  every option
#include "DeliveryRecorder.h"
#include "HostOptions.h"
#include "LibraryLog.h"
#include "MeterDisplay.h"
#include "NetworkSandbox.h"
#include "SnapshotPainter.h"
#include "SpectrumPeak.h"
#include "StreamChoice.h"
#include "StreamSetup.h"
#include "TerminalView.h"

#include "exceptions/SonaCoreException.h"
#include "sonacore/IChannelAmountChanged.h"
#include "sonacore/INetworkDeviceManager.h"
#include "sonacore/ISonaCore.h"
#include "sonacore/ISoundLevelValueConfig.h"
#include "sonacore/ISpectrumConfig.h"
#include "sonacore/IStatusMessage.h"
#include "version/LibraryVersion.h"

// What is checked before a run, and the ways out of it.
#include "AdapterList.h"
#include "HostVersion.h"
#include "OutputPaths.h"
#include "RunSignals.h"

#include <QCoreApplication>
#include <QTimer>

#include <cstdint>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr unsigned int hostInterfaceVersion = 101;
// The live view's moving average over the spectra, in milliseconds.
constexpr std::size_t averagingMs = 2000;

// The library writes its first log lines while it loads, before main and before the initialisers of this
// program's own objects: an entry of the executable's pre-initialisation array runs before those of every
// library, so the lines are held there until the command line says whether they are shown.
void holdLibraryLinesFromTheStart(int, char**, char**) {
    host::LibraryLog::holdEarlyLines();
}
__attribute__((section(".preinit_array"),
               used)) void (*const holdAtLoad)(int, char**, char**) = holdLibraryLinesFromTheStart;

// Ctrl-C, SIGTERM, a closed terminal or a closed output (see RunSignals).
bool wasInterrupted() {
    return host::RunSignals::endRequested();
}

// On a real network: the stream to monitor, in the form heard. False when the program is to end, with its
// exit status in `status`: when the listening failed, Ctrl-C ended it, or no stream can be set up.
bool chooseStream(host::HostOptions& options, int& status) {
    host::HeardStreams heard;
    // A named stream is taken as soon as its first frame arrives.
    status = host::StreamChoice::listen(options, options.macGiven ? options.deviceKey : std::string(),
                                        wasInterrupted, heard);
    if (status != 0 || wasInterrupted()) {
        return false;
    }
    return options.macGiven ? host::StreamChoice::takeNamed(options, heard, status)
                            : host::StreamChoice::takeFirstAnalysable(options, heard, status);
}

// Every delivery goes to the plain lines or the live view, the snapshot and the record.
struct Outputs {
    host::MeterDisplay display;
    host::SnapshotPainter snapshot;
    std::unique_ptr<host::DeliveryRecorder> recorder;
    std::unique_ptr<host::TerminalView> view;

    void levels(unsigned channel, const std::vector<double>& y) {
        using namespace sonacore::iprocess;
        if (y.size() < soundLevelValueTypes.size()) {
            return;
        }
        display.updateLevels(channel, y[dbaSplFast.identifier], y[dbcSplFast.identifier],
                             y[dbzSplFast.identifier]);
        snapshot.updateLevels(channel, y);
        if (view) {
            view->updateLevels(channel, y);
        }
        if (recorder) {
            recorder->recordLevels(channel, y, host::DeliveryRecorder::Clock::now());
        }
    }

    void spectrum(unsigned channel, const std::vector<double>& power) {
        display.updateSpectrum(channel, host::peakFrequency(power, host::HostOptions::sampleRate));
        snapshot.updateSpectrum(channel, power);
        if (view) {
            view->updateSpectrum(channel, power);
        }
        if (recorder) {
            recorder->recordSpectrum(channel, power, host::DeliveryRecorder::Clock::now());
        }
    }
};

// What one monitoring run set up in the library, for the keys of the live view and the end of the run.
struct Session {
    explicit Session(const host::HostOptions& options)
        : options(options), outputs{host::MeterDisplay(options.meteredChannels),
                                    host::SnapshotPainter(options.meteredChannels,
                                                          options.meteredChannels.front(),
                                                          host::HostOptions::sampleRate),
                                    nullptr, nullptr} {}

    const host::HostOptions& options;
    Outputs outputs;
    std::string adapterName;
    std::map<unsigned, sonacore::iprocess::ISpectrumConfig*> spectra;
    std::vector<sonacore::ihandles::IProcessorHandle*> processors;
    sonacore::ihandles::INetworkReceiverHandle* receiver = nullptr;
};

// The record file, opened before anything is captured or listened to; false with the reason on standard
// error.
bool openRecorder(const host::HostOptions& options, std::unique_ptr<host::DeliveryRecorder>& recorder) {
    if (options.recordPath.empty()) {
        return true;
    }
    std::string error;
    recorder = host::DeliveryRecorder::open(options.recordPath, host::HostOptions::spectrumFrameLength / 2,
                                            host::HostOptions::sampleRate,
                                            host::DeliveryRecorder::Clock::now(), error);
    if (!recorder) {
        std::cerr << error << "\n";
        return false;
    }
    return true;
}

// The library's messages, on the live view's status line while it owns the terminal, on standard error
// otherwise.
void routeMessages(ISonaCore& core) {
    core.setMessageReceiver([](std::shared_ptr<sonacore::imessages::IBaseMessage> message) {
        std::string text;
        if (message->getMessageClass() == "StatusMessage") {
            text = message->getMessageId() + ": " + message->getMessageText();
        } else if (message->getMessageClass() == "ChannelAmountChanged") {
            auto change = std::dynamic_pointer_cast<sonacore::imessages::IChannelAmountChanged>(message);
            text = message->getMessageId() + " now sends " +
                   std::to_string(static_cast<std::int32_t>(change->getChannelAmountAfter())) + " channels";
        } else {
            return;
        }
        host::TerminalView::post(text, "status: " + text);
    });
}

// The stream's receiver on the options' adapter. Returns 0, or the exit status with the reason on standard
// error: 2 for an unknown adapter, 1 without the right to capture.
int addReceiver(ISonaCore& core, Session& session) {
    const host::HostOptions& options = session.options;
    sonacore::INetworkDeviceInfo* adapter = host::StreamSetup::findAdapter(options.adapter);
    if (adapter == nullptr) {
        std::cerr << host::StreamSetup::noAdapterText(options.adapter) << "\n";
        return 2;
    }
    session.adapterName = adapter->getDeviceName();
    try {
        session.receiver = core.addRemoteStreamReceiver(host::StreamSetup::configure(options, *adapter));
    } catch (const exceptions::InstanceNotCreateable&) {
        std::cerr << "Cannot capture on '" << session.adapterName
                  << "': run as root, or give this program the right to capture (setcap "
                     "cap_net_raw,cap_net_admin+ep sonacore-host).\n";
        return 1;
    }
    return 0;
}

void addLevelProcessor(ISonaCore& core, Session& session, unsigned channel) {
    const std::string name = "level " + std::to_string(channel);
    auto* level =
        sonacore::iprocess::ISoundLevelValueConfig::createInstance(name, session.options.levelSampleAmount());
    sonacore::ihandles::IProcessorHandle* handle =
        core.addProcessor(*sonacore::IProcessConfiguration::createInstance(
            name, *level, session.options.deviceKey, static_cast<unsigned char>(channel)));
    Outputs& outputs = session.outputs;
    core.getMeteringDataSource(*handle)->bindChannelCallback(
        [&outputs, channel](sonacore::IChannelData& data) {
            outputs.levels(channel, data.getVectorData().getY());
        });
    session.processors.push_back(handle);
}

// By default a spectrum every 200 ms on the processor's own timer: 5 transforms of 16384 points and 5
// deliveries of 8192 bins a second per channel, where the buffer's signal every 480 samples would ask for 100
// of each, while the display shows no more than 10 a second. The live view averages the spectra over two
// seconds, so that a bar stands still enough to be read; the average of ten spectra is full two seconds
// after a start or a change of order.
void addSpectrumProcessor(ISonaCore& core, Session& session, unsigned channel, bool averaging) {
    const host::HostOptions& options = session.options;
    const std::string name = "spectrum " + std::to_string(channel);
    auto* spectrum = options.clockPeriodMs > 0
                         ? sonacore::iprocess::ISpectrumConfig::createInstance(
                               name, host::HostOptions::spectrumFrameLength, options.clockPeriodMs)
                         : sonacore::iprocess::ISpectrumConfig::createInstance(
                               name, host::HostOptions::spectrumFrameLength);
    spectrum->setFftOrder(host::HostOptions::spectrumOrder);
    if (averaging) {
        spectrum->setMovingAverageWindowLength(averagingMs);
        spectrum->setMovingAverageActivity(true);
    }
    sonacore::ihandles::IProcessorHandle* handle =
        core.addProcessor(*sonacore::IProcessConfiguration::createInstance(
            name, *spectrum, options.deviceKey, static_cast<unsigned char>(channel)));
    Outputs& outputs = session.outputs;
    core.getMeteringDataSource(*handle)->bindChannelCallback(
        [&outputs, channel](sonacore::IChannelData& data) {
            outputs.spectrum(channel, data.getVectorData().getY());
        });
    session.spectra[channel] = spectrum;
    session.processors.push_back(handle);
}

// The live view when the output is a terminal. Its keys act on the selected channel's spectrum
// configuration, which the running processor follows before its next calculation.
std::unique_ptr<host::TerminalView> makeView(Session& session) {
    const host::HostOptions& options = session.options;
    // The longest frame the buffer holds.
    std::size_t largestOrder = host::TerminalView::lowestOrder;
    while (largestOrder < host::TerminalView::highestOrder &&
           (std::uint64_t{2} << largestOrder) <= options.bufferSize) {
        ++largestOrder;
    }
    host::TerminalView::Controls controls;
    controls.setFftOrder = [&session](unsigned channel, std::size_t order) {
        session.spectra.at(channel)->setFftOrder(order);
    };
    controls.setAveraging = [&session](unsigned channel, bool averaging) {
        session.spectra.at(channel)->setMovingAverageActivity(averaging);
    };
    controls.quit = [] { QCoreApplication::quit(); };
    const host::StreamFormat& format = options.stream;
    const std::string title =
        "SonaCore monitor: " + options.deviceKey + " on " + session.adapterName + ", " +
        std::to_string(format.channels) + " channels of " + format.shortName() + " at 48000 Hz, " +
        (format.vlanId ? "VLAN " + std::to_string(*format.vlanId) + ", " : "") +
        std::to_string(static_cast<long>(options.durationSeconds)) + " s; q or Ctrl-C ends it";
    return std::make_unique<host::TerminalView>(
        options.meteredChannels, host::HostOptions::sampleRate, title,
        host::TerminalScreen::SpectrumSettings{host::HostOptions::spectrumOrder, true}, largestOrder,
        std::move(controls));
}

// Runs the Qt event loop until the duration has passed, Ctrl-C or SIGTERM arrived or q was pressed, drawing
// the live view or the plain lines ten times a second.
void runEventLoop(Session& session) {
    QTimer stopper;
    stopper.setSingleShot(true);
    QObject::connect(&stopper, &QTimer::timeout, QCoreApplication::instance(), &QCoreApplication::quit,
                     Qt::DirectConnection);
    stopper.start(static_cast<int>(session.options.durationSeconds * 1000));
    // The signal handler only notes the signal (and SIGHUP, a closed output): everything else, the terminal
    // included, is done here.
    host::EventLoopStop interruption;
    interruption.start(50);
    Outputs& outputs = session.outputs;
    QTimer redraw;
    QObject::connect(
        &redraw, &QTimer::timeout, &redraw,
        [&outputs] {
            if (outputs.view && outputs.view->isOpen()) {
                outputs.view->tick();
            } else {
                outputs.display.draw();
            }
        },
        Qt::DirectConnection);
    redraw.start(100);
    if (outputs.view && !outputs.view->open()) {
        outputs.view.reset();
    }
    QCoreApplication::exec();
    if (outputs.view) {
        outputs.view->close();
    }
}

// What the run leaves behind: the last readings, the record's and the snapshot's outcome. Returns the exit
// status: 3 when no audio arrived, 1 when the record or the snapshot failed.
int finishRun(Session& session) {
    Outputs& outputs = session.outputs;
    outputs.display.finish();
    int status = 0;
    if (outputs.recorder) {
        if (!outputs.recorder->error().empty()) {
            std::cerr << outputs.recorder->error() << "\n";
            status = 1;
        }
        std::cout << "Recorded " << outputs.recorder->levelRows() << " level rows and "
                  << outputs.recorder->spectrumRows() << " spectrum rows in " << session.options.recordPath
                  << ".\n";
    }
    if (!session.options.snapshotPath.empty()) {
        std::string error;
        if (outputs.snapshot.write(session.options.snapshotPath, error)) {
            std::cout << "Snapshot of " << host::SnapshotPainter::imageWidth << "x"
                      << host::SnapshotPainter::imageHeight << " pixels written to "
                      << session.options.snapshotPath << ".\n";
        } else {
            std::cerr << error << "\n";
            status = 1;
        }
    }
    if (!outputs.display.sawData()) {
        std::cerr << "No audio arrived from " << session.options.deviceKey << " on " << session.adapterName
                  << ": check the stream's source address (--mac) and the adapter.\n";
        return 3;
    }
    return status;
}

int run(const host::HostOptions& options, std::unique_ptr<host::DeliveryRecorder> recorder) {
    Session session(options);
    session.outputs.recorder = std::move(recorder);
    ISonaCore* core = ISonaCore::createInstance();
    routeMessages(*core);
    if (const int status = addReceiver(*core, session); status != 0) {
        ISonaCore::destroy();
        return status;
    }
    const bool live = host::TerminalView::available();
    for (const unsigned channel : options.meteredChannels) {
        addLevelProcessor(*core, session, channel);
        addSpectrumProcessor(*core, session, channel, live);
    }
    for (auto* handle : session.processors) {
        handle->start();
    }
    session.receiver->start();
    if (live) {
        session.outputs.view = makeView(session);
    }
    runEventLoop(session);
    ISonaCore::destroy();
    host::LibraryLog::silence();
    return finishRun(session);
}

// Says which library this is; false, with the reason on standard error, when it does not fit this program.
bool libraryFits() {
    const bool compatible = vq::sonaCoreLib::isCompatibleWithInterfaceVersion(hostInterfaceVersion);
    std::cout << "SonaCore " << vq::sonaCoreLib::getVersion() << ", interface "
              << vq::sonaCoreLib::getInterfaceVersion()
              << (compatible ? " (compatible)" : " (NOT compatible)") << "\n";
    if (!compatible) {
        std::cerr << "This program was built for interface version " << hostInterfaceVersion
                  << " of the library: rebuild it against the installed headers.\n";
    }
    return compatible;
}

// The built-in demo's sandbox, and the options pointed at its capture end. Null, with the reason on standard
// error, when it cannot be made.
std::unique_ptr<host::NetworkSandbox> startDemo(host::HostOptions& options) {
    std::string error;
    std::vector<std::string> swept;
    std::unique_ptr<host::NetworkSandbox> sandbox = host::NetworkSandbox::create(options, swept, error);
    for (const std::string& name : swept) {
        std::cout << "Removed the namespace " << name << " that an ended run left behind.\n";
    }
    if (!sandbox) {
        std::cerr << error << "\n";
        return nullptr;
    }
    options.adapter = sandbox->captureInterface();
    std::cout << "Built-in demo: a talker in namespace " << sandbox->namespaceName() << " sends on "
              << sandbox->talkerInterface();
    if (options.discover) {
        std::cout << ", heard on " << sandbox->captureInterface() << ".\n";
    } else {
        std::cout << ", captured on " << sandbox->captureInterface() << " for " << options.durationSeconds
                  << " s. Ctrl-C ends it early.\n";
    }
    return sandbox;
}

int discover(const host::HostOptions& options) {
    host::HeardStreams heard;
    if (const int status = host::StreamChoice::listen(options, std::string(), wasInterrupted, heard);
        status != 0) {
        return status;
    }
    host::StreamChoice::print(heard, options.discoverySeconds, wasInterrupted());
    return 0;
}

int monitor(host::HostOptions& options, bool demo) {
    std::unique_ptr<host::DeliveryRecorder> recorder;
    if (!openRecorder(options, recorder)) {
        return 2;
    }
    if (!demo) {
        if (int status = 0; !chooseStream(options, status)) {
            return status;
        }
    }
    try {
        return run(options, std::move(recorder));
    } catch (const std::exception& failure) {
        std::cerr << "The library refused the set-up: " << failure.what() << "\n";
        ISonaCore::destroy();
        return 1;
    }
}

// The program without its ending: every object it made is gone when it returns its exit status.
int runProgram(int& argc, char** argv) {
    host::HostOptions options;
    std::string error;
    const bool parsed = host::HostOptions::parse(argc, argv, options, error);
    host::LibraryLog::install(options.verbose);
    if (!parsed) {
        std::cerr << error << "\n";
        return 2;
    }
    // The output paths before anything starts, and before Qt's GUI application has its say.
    if (!options.help && !host::OutputPaths::check(options.recordPath, options.snapshotPath, error)) {
        std::cerr << error << "\n";
        return 2;
    }
    // Only a run that paints a snapshot needs Qt's GUI application; the others stay on Qt Core.
    const std::unique_ptr<QCoreApplication> application =
        options.snapshotPath.empty() ? std::make_unique<QCoreApplication>(argc, argv)
                                     : host::SnapshotPainter::createApplication(argc, argv);
    if (options.help) {
        std::cout << host::HostOptions::usage();
        return 0;
    }
    if (options.version) {
        std::cout << host::HostVersion::text(hostInterfaceVersion);
        return 0;
    }
    if (!libraryFits()) {
        return 1;
    }
    if (options.list) {
        host::AdapterList::print(*sonacore::INetworkDeviceManager::createInstance(), options.allAdapters,
                                 std::cout);
        return 0;
    }
    std::unique_ptr<host::NetworkSandbox> sandbox;
    if (options.adapter.empty()) {
        // The demo's talker sends its own channels unless the command line gave others.
        host::StreamFormat demoStream = options.stream;
        demoStream.channels = host::NetworkSandbox::demoChannels;
        if (!options.useStream(options.deviceKey, demoStream, error)) {
            std::cerr << error << "\n";
            return 2;
        }
        sandbox = startDemo(options);
        if (!sandbox || wasInterrupted()) {
            return 1;
        }
    }
    return options.discover ? discover(options) : monitor(options, sandbox != nullptr);
}

} // namespace

// A signal that ends the run ends the program only after runProgram has cleaned up (see RunSignals).
int main(int argc, char** argv) {
    host::RunSignals::install();
    return host::RunSignals::finish(runProgram(argc, argv));
}
