// sonacore-host: live sound levels and spectra of IEEE 1722 audio streams, built only on the library's public
// interface.
//
// For each metered channel it runs two of the library's analysers (see ChannelAnalysers.h) and shows what
// they deliver: a sound level processor, whose seven levels in dB re full scale (A-, C- and Z-weighted, fast
// and slow, and dBFS) it shows as they come, and a spectrum processor of 16384 points (bins 48000 / 16384 =
// 2.93 Hz apart), started only once the stream has filled its frame, so that no spectrum of a frame still
// silent in its older part reaches an output. Every delivery goes to a list of sinks (see DeliverySink.h):
// the plain lines or the live view, the snapshot and the record.
//
// On a terminal it is a live view drawn with ncurses (see TerminalView.h): every channel's levels with bar
// meters, peak hold and a clip mark, the selected channel's averaged spectrum over a logarithmic Hz axis,
// marked while its average is still settling, and the library's status messages, named after the adapter;
// keys switch the channel, the FFT order (10 to 16) and the averaging, q ends it. The view fits terminals
// down to 80x24 and says when one is too small (see TerminalScreen.h). Otherwise, when the output goes to a
// file or a pipe, it prints plain lines for each second of the stream, on the stream's own clock: the A, C
// and Z fast levels and the strongest bin's frequency of each channel.
//
// A run in which no audio at all arrived from the monitored address says so and ends with exit status 3.
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
// --record FILE.csv appends every delivery to a CSV file as it arrives, one table of 32768 bin columns
// whatever the FFT order, and says at the start how fast the file will grow; --snapshot FILE.png paints the
// first metered channel's last spectrum and every channel's last levels into an image at the end of the run,
// also after Ctrl-C. The snapshot is the one use of Qt's GUI module, offscreen, so that it needs no display.
//
// Run: sonacore-host                         the built-in demo
//      sonacore-host --duration 60           the demo for a minute
//      sonacore-host --list [--all]          the Ethernet capture adapters (--all: every one), from 1
//      sonacore-host --version               the monitor's name and the library's version
//      sonacore-host --discover --adapter eth1 [--seconds 2]
//      sonacore-host --adapter eth1 [--mac 00:a0:c9:11:22:33] [--channels 2] [--duration 30] ...
//      sonacore-host --adapter eth1,eth2     two networks at once, the first stream heard on each
//      sonacore-host --verbose               the demo, with the library's progress lines
//      sonacore-host --record levels.csv --snapshot spectrum.png    the demo, recorded and painted
//      sonacore-host --help                  every option
#include "AdapterRecovery.h"
#include "ChannelAnalysers.h"
#include "DeliveryRecorder.h"
#include "DeliverySink.h"
#include "HostOptions.h"
#include "LibraryLog.h"
#include "MeterDisplay.h"
#include "NetworkSandbox.h"
#include "OutputSinks.h"
#include "SnapshotPainter.h"
#include "StreamChoice.h"
#include "StreamSetup.h"
#include "TerminalView.h"

#include "exceptions/SonaCoreException.h"
#include "sonacore/IChannelAmountChanged.h"
#include "sonacore/INetworkDeviceManager.h"
#include "sonacore/ISonaCore.h"
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
constexpr std::uint64_t averagingMs = 2000;
// The record's bin columns: those of the widest spectrum the live view's keys can ask for, in every run, so
// that the records of all runs share one header.
constexpr std::size_t recordedBins = std::size_t{1} << (host::TerminalView::highestOrder - 1);

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

// What one monitoring run set up: every channel's analysers, and the sinks their deliveries go to (the plain
// lines or the live view, the snapshot and the record). The analysers' callbacks hold the analysers and the
// sinks, so the session outlives ISonaCore::destroy().
struct Session {
    explicit Session(const host::HostOptions& options)
        : options(options), display(options.meteredChannels, options.levelSampleAmount(),
                                    host::HostOptions::sampleRate, stdout),
          snapshot(options.meteredChannels, options.meteredChannels.front(), host::HostOptions::sampleRate),
          snapshotSink(snapshot) {
        sinks.add(display);
        sinks.add(snapshotSink);
    }

    const host::HostOptions& options;
    std::string adapterName;
    host::MeterDisplay display;
    host::SnapshotPainter snapshot;
    host::SnapshotSink snapshotSink;
    std::unique_ptr<host::DeliveryRecorder> recorder;
    std::unique_ptr<host::RecordSink> recordSink;
    std::unique_ptr<host::TerminalView> view;
    std::unique_ptr<host::ViewSink> viewSink;
    host::DeliverySinks sinks;
    std::map<unsigned, std::unique_ptr<host::ChannelAnalysers>> analysers;
    // One per monitored network, in the order of the command line.
    std::vector<sonacore::ihandles::INetworkReceiverHandle*> receivers;
    // The name each adapter's capture messages carry (the library's sniffer name), and the adapter's.
    std::map<std::string, std::string> captureNames;
};

// One network that a run monitors: the options with its adapter and its stream as heard, and where its
// channels show: its channel c as c + firstShown in every output.
struct Network {
    host::HostOptions options;
    unsigned firstShown = 0;
    std::unique_ptr<host::ShiftedSink> sink;
};

// The record file, opened before anything is captured or listened to; false with the reason on standard
// error.
bool openRecorder(const host::HostOptions& options, std::unique_ptr<host::DeliveryRecorder>& recorder) {
    if (options.recordPath.empty()) {
        return true;
    }
    std::string error;
    recorder = host::DeliveryRecorder::open(options.recordPath, recordedBins, host::HostOptions::sampleRate,
                                            host::DeliveryRecorder::Clock::now(), error);
    if (!recorder) {
        std::cerr << error << "\n";
        return false;
    }
    return true;
}

// The library's messages, on the live view's status line while it owns the terminal, on standard error
// otherwise. The capture's messages carry the name of the library's sniffer, which need not be the adapter's:
// their lines name the adapter the run captures on instead, as the user knows it.
void routeMessages(ISonaCore& core, const std::map<std::string, std::string>& captureNames) {
    core.setMessageReceiver([captureNames](std::shared_ptr<sonacore::imessages::IBaseMessage> message) {
        std::string text;
        if (message->getMessageClass() == "StatusMessage") {
            const auto adapter = message->getMessageSender() == "PcapPacketSniffer"
                                     ? captureNames.find(message->getMessageId())
                                     : captureNames.end();
            text = (adapter != captureNames.end() ? adapter->second : message->getMessageId()) + ": " +
                   message->getMessageText();
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
int addReceiver(ISonaCore& core, Session& session, const host::HostOptions& options) {
    sonacore::INetworkDeviceInfo* adapter = host::StreamSetup::findAdapter(options.adapter);
    if (adapter == nullptr) {
        std::cerr << host::StreamSetup::noAdapterText(options.adapter) << "\n";
        return 2;
    }
    const std::string adapterName = adapter->getDeviceName();
    session.adapterName += (session.adapterName.empty() ? "" : " and ") + adapterName;
    session.captureNames["PcapPacketSniffer (eth" + std::to_string(adapter->getDeviceNumber()) + ")"] =
        adapterName;
    routeMessages(core, session.captureNames);
    try {
        session.receivers.push_back(
            core.addRemoteStreamReceiver(host::StreamSetup::configure(options, *adapter)));
    } catch (const exceptions::InstanceNotCreateable&) {
        std::cerr << "Cannot capture on '" << adapterName
                  << "': run as root, or give this program the right to capture (setcap "
                     "cap_net_raw,cap_net_admin+ep sonacore-host).\n";
        return 1;
    }
    return 0;
}

// Every metered channel's analysers. The live view averages the spectra over two seconds, so that a bar
// stands still enough to be read.
void addAnalysers(ISonaCore& core, Session& session, Network& network, bool averaging) {
    const host::HostOptions& options = network.options;
    network.sink = std::make_unique<host::ShiftedSink>(session.sinks, network.firstShown);
    host::ChannelAnalysers::Settings settings;
    settings.deviceKey = options.deviceKey;
    settings.levelSamples = options.levelSampleAmount();
    settings.clockPeriodMs = options.clockPeriodMs;
    settings.signalingAmount = options.signalingAmount;
    settings.order = host::HostOptions::spectrumOrder;
    settings.averaging = averaging;
    settings.averagingMs = averagingMs;
    for (const unsigned channel : options.meteredChannels) {
        session.analysers[network.firstShown + channel] =
            std::make_unique<host::ChannelAnalysers>(core, channel, settings, *network.sink);
    }
}

// The highest FFT order whose frame the buffer holds, within the live view's range.
std::size_t largestOrder(const host::HostOptions& options) {
    std::size_t order = host::TerminalView::lowestOrder;
    while (order < host::TerminalView::highestOrder && (std::uint64_t{2} << order) <= options.bufferSize) {
        ++order;
    }
    return order;
}

// The record's sink, after the line that says how fast the file will grow.
void attachRecorder(Session& session, std::unique_ptr<host::DeliveryRecorder> recorder, bool live) {
    if (!recorder) {
        return;
    }
    const host::HostOptions& options = session.options;
    host::DeliveryRecorder::Load load;
    load.channels = options.meteredChannels.size();
    load.levelsPerSecond = host::HostOptions::sampleRate / static_cast<double>(options.levelSampleAmount());
    load.spectraPerSecond = options.clockPeriodMs > 0 ? 1000.0 / static_cast<double>(options.clockPeriodMs)
                                                      : host::HostOptions::sampleRate /
                                                            static_cast<double>(options.signalingAmount);
    load.order = host::HostOptions::spectrumOrder;
    // Only the live view's keys change the order.
    load.largestOrder = live ? largestOrder(options) : load.order;
    std::cout << recorder->recordingText(load) << std::endl;
    session.recorder = std::move(recorder);
    session.recordSink = std::make_unique<host::RecordSink>(*session.recorder);
    session.sinks.add(*session.recordSink);
}

// The live view when the output is a terminal. Its keys act on the selected channel's analysers, whose
// spectrum processor follows a change before its next calculation.
std::unique_ptr<host::TerminalView> makeView(Session& session) {
    const host::HostOptions& options = session.options;
    host::TerminalView::Controls controls;
    controls.setFftOrder = [&session](unsigned channel, std::size_t order) {
        session.analysers.at(channel)->setFftOrder(order);
    };
    controls.setAveraging = [&session](unsigned channel, bool averaging) {
        session.analysers.at(channel)->setAveraging(averaging);
    };
    controls.averagingProgress = [&session](unsigned channel) {
        return session.analysers.at(channel)->averaging();
    };
    controls.quit = [] { QCoreApplication::quit(); };
    const host::StreamFormat& format = options.stream;
    const std::string title =
        "SonaCore monitor: " + options.deviceKey + " on " + session.adapterName + ", " +
        std::to_string(format.channels) + " channels of " + format.shortName() + " at 48000 Hz, " +
        (format.vlanId ? "VLAN " + std::to_string(*format.vlanId) + ", " : "") +
        std::to_string(static_cast<long>(options.durationSeconds)) + " s; q or Ctrl-C ends it";
    auto view = std::make_unique<host::TerminalView>(
        options.meteredChannels, host::HostOptions::sampleRate, title,
        host::TerminalScreen::SpectrumSettings{host::HostOptions::spectrumOrder, true}, largestOrder(options),
        std::move(controls));
    view->setNoAudioText("No audio has arrived from " + options.deviceKey + " on " + session.adapterName +
                         " yet.");
    return view;
}

// The live view takes the terminal, and the deliveries, from here on; where it cannot, the plain lines do.
void openView(Session& session) {
    session.view = makeView(session);
    if (!session.view->open()) {
        session.view.reset();
        return;
    }
    session.display.printLinesTo(nullptr);
    session.viewSink = std::make_unique<host::ViewSink>(*session.view);
    session.sinks.add(*session.viewSink);
}

// Runs the Qt event loop until the duration has passed, Ctrl-C or SIGTERM arrived or q was pressed, drawing
// the live view ten times a second.
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
    // The plain lines follow the stream's own clock (see MeterDisplay.h); only the live view is redrawn.
    QTimer redraw;
    QObject::connect(
        &redraw, &QTimer::timeout, &redraw,
        [&session] {
            if (session.view) {
                session.view->tick();
            }
        },
        Qt::DirectConnection);
    redraw.start(100);
    QCoreApplication::exec();
    if (session.view) {
        session.view->close();
    }
}

// What the run leaves behind: the last readings, the record's and the snapshot's outcome. Returns the exit
// status: 3 when no audio arrived, 1 when the record or the snapshot failed.
int finishRun(Session& session) {
    session.display.finish();
    int status = 0;
    if (session.recorder) {
        if (!session.recorder->error().empty()) {
            std::cerr << session.recorder->error() << "\n";
            status = 1;
        }
        std::cout << "Recorded " << session.recorder->levelRows() << " level rows and "
                  << session.recorder->spectrumRows() << " spectrum rows in " << session.options.recordPath
                  << ".\n";
    }
    if (!session.options.snapshotPath.empty()) {
        std::string error;
        if (session.snapshot.write(session.options.snapshotPath, error)) {
            std::cout << "Snapshot of " << host::SnapshotPainter::imageWidth << "x"
                      << host::SnapshotPainter::imageHeight << " pixels written to "
                      << session.options.snapshotPath << ".\n";
        } else {
            std::cerr << error << "\n";
            status = 1;
        }
    }
    // Levels come only with the stream's samples, so none means that nothing of the stream was heard.
    if (!session.display.sawAudio()) {
        std::cerr << "No audio arrived from " << session.options.deviceKey << " on " << session.adapterName
                  << ": check the stream's source address (--mac) and the adapter.\n";
        return 3;
    }
    return status;
}

// Captures and analyses until the run ends. A network whose adapter goes down or away is taken up again
// once it is back (see AdapterRecovery.h).
void capture(Session& session) {
    for (const auto& channel : session.analysers) {
        channel.second->start();
    }
    host::AdapterRecovery recovery(
        [](const std::string& text) { host::TerminalView::post(text, "status: " + text); });
    for (auto* receiver : session.receivers) {
        receiver->start();
        // The receiver's name is its adapter's.
        recovery.watch(receiver->getReceiverUid(), *receiver);
    }
    recovery.start();
    runEventLoop(session);
}

// Monitors `networks`, whose channels `shown` lists as the outputs number them.
int run(const host::HostOptions& shown, std::vector<Network>& networks,
        std::unique_ptr<host::DeliveryRecorder> recorder) {
    Session session(shown);
    ISonaCore* core = ISonaCore::createInstance();
    // Each adapter's frames reach only its own network's stream.
    core->setPerAdapterCapture(networks.size() > 1);
    for (const Network& network : networks) {
        if (const int status = addReceiver(*core, session, network.options); status != 0) {
            ISonaCore::destroy();
            return status;
        }
    }
    const bool live = host::TerminalView::available();
    for (Network& network : networks) {
        addAnalysers(*core, session, network, live);
    }
    attachRecorder(session, std::move(recorder), live);
    if (live) {
        openView(session);
    }
    capture(session);
    ISonaCore::destroy();
    host::LibraryLog::silence();
    return finishRun(session);
}

int run(const host::HostOptions& options, std::unique_ptr<host::DeliveryRecorder> recorder) {
    std::vector<Network> networks(1);
    networks.front().options = options;
    return run(options, networks, std::move(recorder));
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

// Several networks at once: the first analysable stream heard on each adapter, in the order given, each
// adapter's frames kept to its own stream. The outputs number the channels on: those of the second network
// follow those of the first, as the opening lines say.
int monitorNetworks(const host::HostOptions& options, std::unique_ptr<host::DeliveryRecorder> recorder) {
    std::vector<std::string> adapters{options.adapter};
    adapters.insert(adapters.end(), options.otherAdapters.begin(), options.otherAdapters.end());
    std::vector<Network> networks(adapters.size());
    host::HostOptions shown = options;
    shown.meteredChannels.clear();
    std::vector<std::string> keys;
    unsigned firstShown = 0;
    for (std::size_t index = 0; index < adapters.size(); ++index) {
        Network& network = networks[index];
        network.options = options;
        network.options.adapter = adapters[index];
        network.options.otherAdapters.clear();
        if (int status = 0; !chooseStream(network.options, status)) {
            return status;
        }
        network.firstShown = firstShown;
        for (const unsigned channel : network.options.meteredChannels) {
            shown.meteredChannels.push_back(firstShown + channel);
        }
        const unsigned channels = network.options.stream.channels;
        std::cout << "Network " << index + 1 << ": " << network.options.deviceKey << " on " << adapters[index]
                  << ", its channels 0 to " << channels - 1 << " shown as ch" << firstShown << " to ch"
                  << firstShown + channels - 1 << ".\n";
        keys.push_back(network.options.deviceKey);
        firstShown += channels;
    }
    shown.deviceKey = keys.front();
    for (std::size_t index = 1; index < keys.size(); ++index) {
        shown.deviceKey += " and " + keys[index];
    }
    shown.stream = networks.front().options.stream;
    shown.stream.channels = firstShown;
    return run(shown, networks, std::move(recorder));
}

int monitor(host::HostOptions& options, bool demo) {
    std::unique_ptr<host::DeliveryRecorder> recorder;
    if (!openRecorder(options, recorder)) {
        return 2;
    }
    try {
        if (!options.otherAdapters.empty()) {
            return monitorNetworks(options, std::move(recorder));
        }
        if (!demo) {
            if (int status = 0; !chooseStream(options, status)) {
                return status;
            }
        }
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
