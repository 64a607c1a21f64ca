#include "network/DataUsageProvider.h"
#include "network/UsageCommand.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QDateTime>
#include <QLocale>

#include <gtest/gtest.h>

#include <cstdio>

namespace {

// Runs the command with its output captured; returns the exit status.
int run(const QStringList& args, QString& out, QString& err) {
    std::FILE* o = std::tmpfile();
    std::FILE* e = std::tmpfile();
    const int rc = runUsageCommand(args, o, e);
    auto slurp = [](std::FILE* f) {
        std::fflush(f);
        std::rewind(f);
        QByteArray bytes;
        char buffer[4096];
        size_t n;
        while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0)
            bytes.append(buffer, static_cast<qsizetype>(n));
        std::fclose(f);
        return QString::fromUtf8(bytes);
    };
    out = slurp(o);
    err = slurp(e);
    return rc;
}

// Rows of the table: label -> (received, sent).
std::map<QString, std::pair<QString, QString>> rowsOf(const QString& out) {
    std::map<QString, std::pair<QString, QString>> rows;
    const QStringList lines = out.split('\n', Qt::SkipEmptyParts);
    for (const QString& line : lines.mid(2)) {
        // Amounts hold one space between number and unit: "1.50 KB".
        const QStringList w = line.split(' ', Qt::SkipEmptyParts);
        if (w.size() == 5)
            rows[w[0]] = {w[1] + ' ' + w[2], w[3] + ' ' + w[4]};
    }
    return rows;
}

class UsageCommandTest : public ::testing::Test {
protected:
    void SetUp() override {
        savedLocale_ = QLocale();
        QLocale::setDefault(QLocale::c());
        SettingsDomain::group().remove(SettingsKey::DataUsageData);
        SettingsDomain::group().remove(SettingsKey::DataUsageTimeRange);
    }
    void TearDown() override {
        SettingsDomain::group().remove(SettingsKey::DataUsageData);
        SettingsDomain::group().remove(SettingsKey::DataUsageTimeRange);
        QLocale::setDefault(savedLocale_);
    }
    QLocale savedLocale_;
};

TEST_F(UsageCommandTest, RejectsUnknownRangesWithStatusTwo) {
    QString out, err;
    EXPECT_EQ(run({"week"}, out, err), 2);
    EXPECT_TRUE(out.isEmpty());
    EXPECT_TRUE(err.contains("week"));
    EXPECT_EQ(run({"--usage", "today", "24h"}, out, err), 2);
    EXPECT_TRUE(out.isEmpty());
}

TEST_F(UsageCommandTest, PrintsTheCurrentHourAndTotalsFromTheGroupDomain) {
    DataUsageProvider::Environment env;
    const DataUsageProvider keys(env); // system clock and zone, no domain
    QString out, err;
    QDateTime now;
    for (int attempt = 0; attempt < 3; ++attempt) {
        now = QDateTime::currentDateTime();
        const QDateTime hourAgo = now.addSecs(-3600);
        SettingsDomain::group().setValue(
            SettingsKey::DataUsageData,
            DataUsageProvider::storedForm(
                {{keys.keyForDate(hourAgo), 1024, 512}, {keys.keyForDate(now), 2048, 3}}));
        ASSERT_EQ(run({"--usage", "24h"}, out, err), 0) << err.toStdString();
        if (keys.keyForDate(now) == keys.keyForDate(QDateTime::currentDateTime()))
            break; // the hour did not turn while the command ran
    }
    const QStringList lines = out.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 2 + 24 + 1) << out.toStdString();
    EXPECT_EQ(lines[0], "Data usage in the last 24 hours");
    const int hour = now.time().hour();
    const QString label =
        QStringLiteral("%1%2").arg(hour > 12 ? hour - 12 : hour).arg(hour > 11 ? "PM" : "AM");
    EXPECT_TRUE(lines[2 + 23].startsWith(label + ' ')) << lines[2 + 23].toStdString();
    const auto rows = rowsOf(out);
    ASSERT_TRUE(rows.count(label));
    EXPECT_EQ(rows.at(label), std::make_pair(QString("2.00 MB"), QString("3.00 KB")));
    ASSERT_TRUE(rows.count("total"));
    EXPECT_EQ(rows.at("total"), std::make_pair(QString("3.00 MB"), QString("515.00 KB")));
}

TEST_F(UsageCommandTest, StoredTimeRangeIsTheDefault) {
    QString out, err;
    SettingsDomain::group().setInteger(SettingsKey::DataUsageTimeRange, 1);
    ASSERT_EQ(run({}, out, err), 0);
    EXPECT_TRUE(out.startsWith("Data usage in the last 24 hours\n"));
    SettingsDomain::group().setInteger(SettingsKey::DataUsageTimeRange, 2); // counts as today
    ASSERT_EQ(run({"--usage"}, out, err), 0);
    EXPECT_TRUE(out.startsWith("Data usage today\n"));
    const QStringList lines = out.split('\n', Qt::SkipEmptyParts);
    EXPECT_TRUE(lines[2].startsWith("0H "));
    EXPECT_TRUE(lines[lines.size() - 2].startsWith("24H "));
    EXPECT_TRUE(lines.last().startsWith("total "));
}

} // namespace
