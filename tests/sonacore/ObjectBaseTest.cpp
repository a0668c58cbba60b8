#include "sonacore/ConfigurationData.h"
#include "sonacore/DataObjectBase.h"
#include "sonacore/DeliveryData.h"
#include "sonacore/Log.h"
#include "support/LogCapture.h"

#include <QDebug>
#include <QString>

#include <gtest/gtest.h>

#include <locale>
#include <sstream>

namespace {

class NamedObject : public sonacore::DataObjectBase {
public:
    using DataObjectBase::DataObjectBase;
};

class ExtendedObject : public sonacore::DeliveryData {
public:
    using DeliveryData::DeliveryData;
    std::string toString() const override { return DataObjectBase::toString() + " more"; }
};

} // namespace

TEST(DataObjectBase, EmptyNameRendersAsEmptyBrackets) {
    EXPECT_EQ(NamedObject("").toString(), "[]");
}

TEST(DataObjectBase, RendersNameInBrackets) {
    NamedObject object("Buffer A");
    EXPECT_EQ(object.toString(), "[Buffer A]");
    EXPECT_EQ(object.getName(), "Buffer A");
}

TEST(DataObjectBase, DerivedTextStartsWithBaseRendering) {
    EXPECT_EQ(ExtendedObject("x").toString(), "[x] more");
}

TEST(StringOverloadBase, OutputStreamWritesTextAndNewline) {
    std::ostringstream stream;
    stream << NamedObject("abc");
    EXPECT_EQ(stream.str(), "[abc]\n");
}

TEST(StringOverloadBase, DebugStreamWritesTextUnquotedAndRestoresQuoting) {
    QString text;
    {
        QDebug stream(&text);
        stream << NamedObject("abc") << QString("after");
    }
    EXPECT_EQ(text.toStdString(), "[abc] \"after\" ");
}

TEST(Log, QuotedNameInLogLineDiffersFromUnquotedDebugText) {
    testsupport::LogCapture capture;
    NamedObject object("Device 1");
    sonacore::log::debug("someMethod", sonacore::log::name(object.getName()), "Text");
    qDebug() << object;

    const auto lines = capture.texts(QtDebugMsg);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], "someMethod \"Device 1\" Text");
    EXPECT_EQ(lines[1], "[Device 1]");
}

TEST(Log, DebugLinesUseDefaultCategoryAndDebugLevel) {
    testsupport::LogCapture capture;
    sonacore::log::debug("method", "progress", 42);
    const auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, QtDebugMsg);
    EXPECT_EQ(lines[0].category, "default");
    EXPECT_EQ(lines[0].text, "method progress 42");
}

TEST(Log, WarningLinesUseDefaultCategoryAndWarningLevel) {
    testsupport::LogCapture capture;
    sonacore::log::warning("method", sonacore::log::name("obj"), std::string("fault: "), 7U);
    const auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, QtWarningMsg);
    EXPECT_EQ(lines[0].category, "default");
    EXPECT_EQ(lines[0].text, "method \"obj\" fault:  7");
}

TEST(Log, BytesAreWrittenAsNumbers) {
    testsupport::LogCapture capture;
    sonacore::log::debug("method", static_cast<std::uint8_t>(65));
    EXPECT_TRUE(capture.contains(QtDebugMsg, "method 65"));
}

TEST(ConfigurationData, CarriesNameAndEmitsNothingByItself) {
    sonacore::ConfigurationData data("cfg");
    int notices = 0;
    QObject::connect(&data, &sonacore::ConfigurationData::configurationChanged,
                     [&](const std::string&) { ++notices; });
    EXPECT_EQ(data.toString(), "[cfg]");
    EXPECT_EQ(data.parent(), nullptr);
    EXPECT_EQ(notices, 0);
}
