#include "support/NetnsFixture.h"

#include <atomic>
#include <cstdlib>
#include <strings.h>
#include <unistd.h>

namespace testsupport {

namespace {

constexpr const char* namespacePrefix = "sonacore-test-";

// Counts fixtures made by this process, so that names stay unique when one process runs several tests.
std::atomic<unsigned> g_fixtureCounter{0};

} // namespace

bool NetnsFixture::runningInCi() {
    const char* ci = std::getenv("CI");
    return ci != nullptr && (::strcasecmp(ci, "true") == 0 || std::string(ci) == "1");
}

std::string NetnsFixture::talkerPath() {
    return SONACORE_TALKER_PATH;
}

void NetnsFixture::SetUp() {
    // Interface names have at most 15 characters: "sc", a pid of up to 7 digits, a role letter and a
    // counter of up to 3 digits fit.
    counter = g_fixtureCounter.fetch_add(1) % 1000;
    if (counter == 0) {
        NetworkNamespace::removeOrphans(namespacePrefix);
    }
    const std::string unique = std::to_string(::getpid()) + "_" + std::to_string(counter);
    const std::string namespaceName = namespacePrefix + unique;
    const std::string rootEnd = "sc" + std::to_string(::getpid()) + "c" + std::to_string(counter);
    const std::string namespaceEnd = "sc" + std::to_string(::getpid()) + "t" + std::to_string(counter);

    std::string error;
    networkNamespace = NetworkNamespace::create(namespaceName, error);
    if (networkNamespace) {
        veth = VethPair::create(rootEnd, namespaceEnd, *networkNamespace, error);
    }
    if (networkNamespace && veth) {
        return;
    }
    removeAll();
    const std::string message =
        "Live network tests need the rights to create a network namespace and a veth pair "
        "(run as root, or with CAP_SYS_ADMIN, CAP_NET_ADMIN and CAP_NET_RAW): " +
        error;
    if (runningInCi()) {
        FAIL() << message << " [CI=true, so this is a failure and not a skip]";
    }
    GTEST_SKIP() << message;
}

void NetnsFixture::TearDown() {
    removeAll();
}

void NetnsFixture::removeAll() {
    // Talkers first, then the pair, then the namespace: each of them uses what comes after it.
    talkers.clear();
    extraPairs.clear();
    veth.reset();
    networkNamespace.reset();
}

const VethPair* NetnsFixture::addVethPair() {
    if (!networkNamespace) {
        ADD_FAILURE() << "addVethPair called without a namespace; SetUp must have failed";
        return nullptr;
    }
    // At most 15 characters: "sc", a pid of up to 7 digits, a role letter, a counter of up to 3 digits, "x"
    // and the pair's digit.
    const std::string suffix = std::to_string(counter) + "x" + std::to_string(extraPairs.size() + 1);
    std::string error;
    auto pair = VethPair::create("sc" + std::to_string(::getpid()) + "c" + suffix,
                                 "sc" + std::to_string(::getpid()) + "t" + suffix, *networkNamespace, error);
    if (!pair) {
        ADD_FAILURE() << "cannot create another veth pair: " << error;
        return nullptr;
    }
    extraPairs.push_back(std::move(pair));
    return extraPairs.back().get();
}

ChildProcess& NetnsFixture::startTalker(const std::vector<std::string>& arguments) {
    return startTalkerOn(veth ? talkerInterface() : std::string(), arguments);
}

ChildProcess& NetnsFixture::startTalkerOn(const std::string& namespaceEnd,
                                          const std::vector<std::string>& arguments) {
    talkers.push_back(std::make_unique<ChildProcess>());
    ChildProcess& talker = *talkers.back();
    if (!networkNamespace || !veth) {
        ADD_FAILURE() << "startTalker called without a namespace; SetUp must have failed";
        return talker;
    }
    // `ip netns exec` enters the namespace and then executes the talker in the same process, so the child
    // we own is the talker itself and our signals reach it directly.
    std::vector<std::string> command{ipProgram(),  "netns",       "exec",      namespaceName(),
                                     talkerPath(), "--interface", namespaceEnd};
    command.insert(command.end(), arguments.begin(), arguments.end());
    std::string error;
    if (!talker.start(command, error)) {
        ADD_FAILURE() << "cannot start the talker: " << error;
    }
    return talker;
}

::testing::AssertionResult NetnsFixture::talkerSucceeded(ChildProcess& talker,
                                                         std::chrono::milliseconds timeout) {
    if (!talker.running() && talker.exitStatus() == -1) {
        return ::testing::AssertionFailure() << "the talker never started";
    }
    if (!talker.waitFor(timeout)) {
        talker.terminate();
        return ::testing::AssertionFailure()
               << "the talker did not end within " << timeout.count() << " ms; output:\n"
               << talker.output();
    }
    if (talker.exitStatus() != 0) {
        return ::testing::AssertionFailure()
               << "the talker ended with status " << talker.exitStatus() << "; output:\n"
               << talker.output();
    }
    return ::testing::AssertionSuccess();
}

} // namespace testsupport
