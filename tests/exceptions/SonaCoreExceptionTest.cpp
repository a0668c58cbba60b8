#include "exceptions/SonaCoreException.h"
#include "sonacore/Log.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <type_traits>

TEST(SonaCoreException, WhatReturnsTheMessage) {
    exceptions::SonaCoreException error("text of the fault");
    EXPECT_STREQ(error.what(), "text of the fault");
}

TEST(SonaCoreException, WhatReturnsTheTextOfTheWarningLoggedJustBefore) {
    testsupport::LogCapture capture;
    try {
        sonacore::log::raise<exceptions::ResourceNotAvailable>("someSetUpCall", "Resource X is missing");
        FAIL() << "no exception";
    } catch (const exceptions::SonaCoreException& error) {
        const auto warnings = capture.texts(QtWarningMsg);
        ASSERT_EQ(warnings.size(), 1U);
        EXPECT_EQ(warnings[0], std::string("someSetUpCall ") + error.what());
    }
}

TEST(SonaCoreException, TreeFollowsTheFaultKinds) {
    EXPECT_TRUE((std::is_base_of_v<std::exception, exceptions::SonaCoreException>));
    EXPECT_TRUE((std::is_base_of_v<exceptions::SonaCoreException, exceptions::ResourceNotAvailable>));
    EXPECT_TRUE((std::is_base_of_v<exceptions::SonaCoreException, exceptions::InstanceNotConvertable>));
    EXPECT_TRUE((std::is_base_of_v<exceptions::SonaCoreException, exceptions::InstanceNotCreateable>));
    EXPECT_TRUE((std::is_base_of_v<exceptions::SonaCoreException, exceptions::InstanceAlreadyExists>));
    EXPECT_TRUE((std::is_base_of_v<exceptions::InstanceAlreadyExists, exceptions::ProcessorAlreadyExists>));
    EXPECT_TRUE(
        (std::is_base_of_v<exceptions::InstanceAlreadyExists, exceptions::StreamingDeviceAlreadyExists>));
}

TEST(ProcessorAlreadyExists, IsCaughtByAHandlerForInstanceAlreadyExists) {
    try {
        throw exceptions::ProcessorAlreadyExists("duplicate", "WaveformProcessor_00a0c9112233_0");
    } catch (const exceptions::InstanceAlreadyExists& error) {
        EXPECT_STREQ(error.what(), "duplicate");
        const auto* processorError = dynamic_cast<const exceptions::ProcessorAlreadyExists*>(&error);
        ASSERT_NE(processorError, nullptr);
        EXPECT_EQ(processorError->getProcessorUniqueId(), "WaveformProcessor_00a0c9112233_0");
        return;
    }
    FAIL() << "not caught";
}

TEST(StreamingDeviceAlreadyExists, CarriesDeviceAndAdapter) {
    exceptions::StreamingDeviceAlreadyExists error("known", "00a0c9112233", "eth0");
    EXPECT_STREQ(error.what(), "known");
    EXPECT_EQ(error.getStreamingDevice(), "00a0c9112233");
    EXPECT_EQ(error.getNetworkDevice(), "eth0");
}

TEST(SonaCoreException, EveryKindIsCaughtAsStdException) {
    const auto throwsAs = [](auto error) {
        try {
            throw error;
        } catch (const std::exception& caught) {
            return std::string(caught.what());
        }
    };
    EXPECT_EQ(throwsAs(exceptions::ResourceNotAvailable("a")), "a");
    EXPECT_EQ(throwsAs(exceptions::InstanceNotConvertable("b")), "b");
    EXPECT_EQ(throwsAs(exceptions::InstanceNotCreateable("c")), "c");
    EXPECT_EQ(throwsAs(exceptions::InstanceAlreadyExists("d")), "d");
}
