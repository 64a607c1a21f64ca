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
    const struct {
        QString version;
        bool tool;
        QString shownVersion, shownTool;
    } cases[] = {{"0.1.0", true, "0.1.0", "true"}, {QString(), false, "?", "false"}};
    for (const auto& c : cases) {
        const QString body = Feedback::body(facts(c.version, c.tool));
        // Two leading line feeds, four paragraphs, each closed by two line feeds.
        const QStringList parts = body.split(QStringLiteral("\n\n"));
        ASSERT_EQ(parts.size(), 6) << body.toStdString();
        EXPECT_EQ(parts[0], QString());
        EXPECT_EQ(parts[1], L("Info:"));
        EXPECT_EQ(parts[2], L("OS Version") + ": OperatingSystemVersion(majorVersion: 6, "
                                              "minorVersion: 1, patchVersion: 76)");
        EXPECT_EQ(parts[3], L("App Version") + ": " + c.shownVersion);
        EXPECT_EQ(parts[4], L("Can Run App Data Track Script") + ": " + c.shownTool);
        EXPECT_EQ(parts[5], QString());
        EXPECT_FALSE(body.contains(QStringLiteral("\n\n\n")));
    }
}

TEST(FeedbackTest, MailUrlCarriesAddressSubjectAndBodyThroughReservedCharacters) {
    // A version with every character that has a meaning inside a URL query.
    const Feedback::Facts f = facts(QStringLiteral("1.0+git&x=y#z?%20 ü"), false);
    const QUrl url = Feedback::mailUrl(f);
    ASSERT_TRUE(url.isValid()) << url.errorString().toStdString();
    EXPECT_EQ(url.scheme(), QStringLiteral("mailto"));
    EXPECT_EQ(url.path(), Feedback::supportAddress());
    EXPECT_EQ(url.fragment(), QString());
    const QByteArray encoded = url.toEncoded();
    for (char raw : {' ', '\n', '+', '#'})
        EXPECT_FALSE(encoded.contains(raw)) << "raw '" << raw << "' in " << encoded.constData();
    EXPECT_EQ(encoded.count('&'), 1); // only the separator between subject and body
    const QUrlQuery query(url);
    EXPECT_EQ(query.queryItemValue("subject", QUrl::FullyDecoded), Feedback::subject());
    EXPECT_EQ(query.queryItemValue("body", QUrl::FullyDecoded), Feedback::body(f));
    EXPECT_EQ(query.queryItems().size(), 2);
}

TEST(FeedbackTest, SendHandsTheMailUrlToTheOpenerAndReportsItsAnswer) {
    for (bool answer : {false, true}) { // false: no mail client
        QList<QUrl> opened;
        EXPECT_EQ(Feedback::send([&](const QUrl& url) { return opened << url, answer; }), answer);
        ASSERT_EQ(opened.size(), 1);
        EXPECT_EQ(opened[0], Feedback::mailUrl(Feedback::currentFacts()));
    }
}

TEST(FeedbackTest, TheTrackToolCountsOnlyWhenAFileOfItsNameExists) {
    TempDir dir;
    const QString tool = Feedback::trackToolName();
    const QStringList candidates{dir.file("a/" + tool), dir.file("b/" + tool)};
    EXPECT_FALSE(Feedback::trackToolExists(candidates));
    EXPECT_FALSE(Feedback::trackToolExists({}));
    QDir(dir.path()).mkpath("a/" + tool); // a directory of that name
    EXPECT_FALSE(Feedback::trackToolExists(candidates));
    dir.write("b/" + tool, "#!/bin/sh\n");
    EXPECT_TRUE(Feedback::trackToolExists(candidates));
    // Looked for beside the binary and in its prefix's libexec.
    const QStringList found = Feedback::trackToolCandidates(QStringLiteral("/opt/ls/bin"));
    EXPECT_TRUE(found.contains("/opt/ls/bin/" + tool));
    EXPECT_TRUE(found.contains("/opt/ls/libexec/" + tool));
}

TEST(FeedbackTest, OperatingSystemVersionIsReadFromTheLeadingNumbers) {
    const std::pair<const char*, QVersionNumber> cases[] = {
        {"6.12.48+deb13-cloud-amd64", QVersionNumber(6, 12, 48)},
        {"7", QVersionNumber(7, 0, 0)},
        {"10.2.3.4", QVersionNumber(10, 2, 3)},
        {"", QVersionNumber(0, 0, 0)},
        {"unknown", QVersionNumber(0, 0, 0)},
        {"99999999999999999999.1.2", QVersionNumber(0, 1, 2)},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(Feedback::versionOf(QString::fromUtf8(text)), expected) << text;
}
