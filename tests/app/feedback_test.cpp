// The feedback mail: its body, the mailto: URL that carries it, and the test for the
// per-process traffic tool.
#include "app/Feedback.h"
#include "settings/Language.h"

#include "support/TempDir.h"

#include <QDir>
#include <QUrlQuery>

#include <gtest/gtest.h>

namespace {

QString L(const char* key) {
    return Language::getLocalizedString(QString::fromUtf8(key));
}

Feedback::Facts facts(QString appVersion, bool tool) {
    Feedback::Facts f;
    f.osVersion = QVersionNumber(6, 1, 76);
    f.appVersion = std::move(appVersion);
    f.canRunTrackTool = tool;
    return f;
}

} // namespace

TEST(FeedbackTest, BodyListsTheFactsUnderLocalisedLabelsSeparatedByBlankLines) {
    const QString body = Feedback::body(facts(QStringLiteral("0.1.0"), true));
    const QStringList parts = body.split(QStringLiteral("\n\n"));
    // Two leading line feeds, four paragraphs, each closed by two line feeds.
    ASSERT_EQ(parts.size(), 6) << body.toStdString();
    EXPECT_EQ(parts[0], QString());
    EXPECT_EQ(parts[1], L("Info:"));
    EXPECT_EQ(parts[2],
              L("OS Version") + QStringLiteral(": OperatingSystemVersion(majorVersion: 6, "
                                               "minorVersion: 1, patchVersion: 76)"));
    EXPECT_EQ(parts[3], L("App Version") + QStringLiteral(": 0.1.0"));
    EXPECT_EQ(parts[4], L("Can Run App Data Track Script") + QStringLiteral(": true"));
    EXPECT_EQ(parts[5], QString());
    EXPECT_FALSE(body.contains(QStringLiteral("\n\n\n")));
}

TEST(FeedbackTest, MissingVersionAndMissingToolAreReportedPlainly) {
    const QStringList parts = Feedback::body(facts(QString(), false)).split(QStringLiteral("\n\n"));
    ASSERT_EQ(parts.size(), 6);
    EXPECT_EQ(parts[3], L("App Version") + QStringLiteral(": ?"));
    EXPECT_EQ(parts[4], L("Can Run App Data Track Script") + QStringLiteral(": false"));
}

TEST(FeedbackTest, MailUrlCarriesAddressSubjectAndBodyThroughReservedCharacters) {
    // A version with every character that has a meaning inside a URL query.
    const Feedback::Facts f = facts(QStringLiteral("1.0+git&x=y#z?%20 ü"), false);
    const QUrl url = Feedback::mailUrl(f);
    ASSERT_TRUE(url.isValid()) << url.errorString().toStdString();
    EXPECT_EQ(url.scheme(), QStringLiteral("mailto"));
    EXPECT_EQ(url.path(), Feedback::supportAddress());
    EXPECT_TRUE(Feedback::supportAddress().contains(QLatin1Char('@')));
    EXPECT_EQ(url.fragment(), QString());

    const QByteArray encoded = url.toEncoded();
    for (char raw : {' ', '\n', '+', '#'})
        EXPECT_FALSE(encoded.contains(raw)) << "raw '" << raw << "' in " << encoded.constData();
    EXPECT_EQ(encoded.count('&'), 1); // only the separator between subject and body

    const QUrlQuery query(url);
    EXPECT_EQ(query.queryItemValue(QStringLiteral("subject"), QUrl::FullyDecoded),
              Feedback::subject());
    EXPECT_EQ(query.queryItemValue(QStringLiteral("body"), QUrl::FullyDecoded), Feedback::body(f));
    EXPECT_EQ(query.queryItems().size(), 2);
}

TEST(FeedbackTest, SendHandsTheMailUrlToTheOpenerAndReportsItsAnswer) {
    QList<QUrl> opened;
    EXPECT_FALSE(Feedback::send([&](const QUrl& url) {
        opened << url;
        return false; // no mail client
    }));
    EXPECT_TRUE(Feedback::send([&](const QUrl& url) {
        opened << url;
        return true;
    }));
    ASSERT_EQ(opened.size(), 2);
    EXPECT_EQ(opened[0].scheme(), QStringLiteral("mailto"));
    EXPECT_EQ(opened[0], opened[1]);
    EXPECT_EQ(opened[0], Feedback::mailUrl(Feedback::currentFacts()));
}

TEST(FeedbackTest, TheTrackToolCountsOnlyWhenAFileOfItsNameExists) {
    TempDir dir;
    const QString tool = Feedback::trackToolName();
    const QStringList candidates{dir.file(QStringLiteral("a/") + tool),
                                 dir.file(QStringLiteral("b/") + tool)};
    EXPECT_FALSE(Feedback::trackToolExists(candidates));
    EXPECT_FALSE(Feedback::trackToolExists({}));

    QDir(dir.path()).mkpath(QStringLiteral("a/") + tool); // a directory of that name
    EXPECT_FALSE(Feedback::trackToolExists(candidates));

    dir.write(QStringLiteral("b/") + tool, "#!/bin/sh\n");
    EXPECT_TRUE(Feedback::trackToolExists(candidates));
}

TEST(FeedbackTest, TheTrackToolIsLookedForBesideTheBinaryAndInItsPrefixLibexec) {
    const QStringList candidates = Feedback::trackToolCandidates(QStringLiteral("/opt/ls/bin"));
    const QString tool = Feedback::trackToolName();
    EXPECT_TRUE(candidates.contains(QStringLiteral("/opt/ls/bin/") + tool));
    EXPECT_TRUE(candidates.contains(QStringLiteral("/opt/ls/libexec/lumenstat/") + tool));
    EXPECT_TRUE(candidates.contains(QStringLiteral("/opt/ls/libexec/") + tool));
    for (const QString& path : candidates) {
        EXPECT_TRUE(path.endsWith(QLatin1Char('/') + tool)) << path.toStdString();
        EXPECT_FALSE(path.contains(QStringLiteral(".."))) << path.toStdString();
    }
}

TEST(FeedbackTest, OperatingSystemVersionIsReadFromTheLeadingNumbers) {
    const std::pair<const char*, QVersionNumber> cases[] = {
        {"6.1.0-18-amd64", QVersionNumber(6, 1, 0)},
        {"6.12.48+deb13-cloud-amd64", QVersionNumber(6, 12, 48)},
        {"5.15", QVersionNumber(5, 15, 0)},
        {"7", QVersionNumber(7, 0, 0)},
        {"10.2.3.4", QVersionNumber(10, 2, 3)},
        {"", QVersionNumber(0, 0, 0)},
        {"unknown", QVersionNumber(0, 0, 0)},
        {"99999999999999999999.1.2", QVersionNumber(0, 1, 2)},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(Feedback::versionOf(QString::fromUtf8(text)), expected) << text;
    EXPECT_EQ(Feedback::versionRecord(QVersionNumber(0, 0, 0)),
              QStringLiteral("OperatingSystemVersion(majorVersion: 0, minorVersion: 0, "
                             "patchVersion: 0)"));
}
