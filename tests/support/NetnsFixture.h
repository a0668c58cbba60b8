#pragma once

#include "support/ChildProcess.h"
#include "support/NetworkNamespace.h"
#include "support/VethPair.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace testsupport {

// GoogleTest fixture for live tests: each test gets its own network namespace with a veth pair, the
// talker end inside the namespace and the capture end in the root namespace, and can start
// sonacore-avtp-talker processes inside the namespace on the talker end.
//
// SetUp creates everything under names unique to the process and the test. TearDown, which GoogleTest
// runs also after a failed assertion, stops the talkers and removes the pair and the namespace; the
// members' destructors do the same should TearDown not run.
//
// Without the rights to create a namespace (root, or CAP_SYS_ADMIN and CAP_NET_ADMIN), SetUp fails the
// test with a message saying so when the environment variable CI is "true" (or "1"), and skips it
// otherwise, so that a developer's unprivileged run stays green while CI can never pass by skipping.
class NetnsFixture : public ::testing::Test {
public:
    // Path of the talker program, fixed at build time.
    static std::string talkerPath();

    // True when the environment variable CI says the run is in continuous integration.
    static bool runningInCi();

protected:
    void SetUp() override;
    void TearDown() override;

    // The veth end in the root namespace: open captures here.
    const std::string& captureInterface() const { return veth->rootEnd(); }

    // The veth end inside the namespace, where talkers send.
    const std::string& talkerInterface() const { return veth->namespaceEnd(); }

    // The namespace's name, for `ip netns exec`.
    const std::string& namespaceName() const { return networkNamespace->name(); }

    // Starts a talker inside the namespace as `talkerPath() --interface <talker end> <arguments...>`.
    // On failure records a test failure and returns a child that is not running. The fixture owns the
    // child until TearDown; several talkers may run at once.
    ChildProcess& startTalker(const std::vector<std::string>& arguments);
    // The same on the namespace end of a pair added by addVethPair.
    ChildProcess& startTalkerOn(const std::string& namespaceEnd, const std::vector<std::string>& arguments);

    // One more veth pair between the root namespace and the test's namespace, for a test of several
    // adapters; removed with the first. Records a test failure and returns null when it cannot be made.
    const VethPair* addVethPair();

    // Waits up to `timeout` for `talker` to end and succeeds when it exited with status 0; the failure
    // message carries the talker's output.
    static ::testing::AssertionResult talkerSucceeded(ChildProcess& talker,
                                                      std::chrono::milliseconds timeout);

private:
    void removeAll();

    std::unique_ptr<NetworkNamespace> networkNamespace;
    std::unique_ptr<VethPair> veth;
    std::vector<std::unique_ptr<VethPair>> extraPairs;
    unsigned counter = 0;
    std::vector<std::unique_ptr<ChildProcess>> talkers;
};

} // namespace testsupport
