// The feedback mail: its body, the mailto: URL that carries it, and the test for the
// per-process traffic tool.
#include "app/Feedback.h"
#include "settings/Language.h"
#include "support/TempDir.h"

#include <QUrlQuery>

#include <gtest/gtest.h>

namespace {

Feedback::Facts facts(QString appVersion, bool tool) {
    Feedback::Facts f;
    f.osVersion = QVersionNumber(6, 1, 76);
    f.appVersion = std::move(appVersion);
    f.canRunTrackTool = tool;
    return f;
}

TEST(FeedbackTest, BodyListsTheFactsUnderLocalisedLabelsSeparatedByBlankLines) {
    const auto L = [](const char* key) { return Language::getLocalizedString(key); };
    EXPECT_EQ(
        Feedback::body(facts(QString(), false)),
        "\n\n" + L("Info:") + "\n\n" + L("OS Version") +
            ": OperatingSystemVersion(majorVersion: 6, minorVersion: 1, patchVersion: 76)\n\n" +
            L("App Version") + ": ?\n\n" + L("Can Run App Data Track Script") + ": false\n\n");
    EXPECT_TRUE(Feedback::body(facts("0.1.0", true))
                    .endsWith(": 0.1.0\n\n" + L("Can Run App Data Track Script") + ": true\n\n"));
}

TEST(FeedbackTest, MailUrlCarriesSubjectAndBodyThroughReservedCharacters) {
    // A version with every character that has a meaning inside a URL query.
    const Feedback::Facts f = facts(QStringLiteral("1.0+git&x=y#z?%20 ü"), false);
    const QUrl url = Feedback::mailUrl(f);
    ASSERT_TRUE(url.isValid()) << url.errorString().toStdString();
    EXPECT_EQ(url.scheme() + ":" + url.path(), "mailto:" + Feedback::supportAddress());
    const QByteArray encoded = url.toEncoded();
    for (char raw : {' ', '\n', '+', '#'})
        EXPECT_FALSE(encoded.contains(raw)) << "raw '" << raw << "' in " << encoded.constData();
    EXPECT_EQ(encoded.count('&'), 1); // only the separator between subject and body
    const QUrlQuery query(url);
    EXPECT_EQ(query.queryItemValue("subject", QUrl::FullyDecoded), Feedback::subject());
    EXPECT_EQ(query.queryItemValue("body", QUrl::FullyDecoded), Feedback::body(f));
}

TEST(FeedbackTest, TheTrackToolCountsOnlyWhenAFileOfItsNameExists) {
    TempDir dir;
    const QString tool = Feedback::trackToolName();
    const QStringList candidates{dir.file("a/" + tool), dir.file("b/" + tool)};
    EXPECT_FALSE(Feedback::trackToolExists(candidates));
    QDir(dir.path()).mkpath("a/" + tool); // a directory of that name
    EXPECT_FALSE(Feedback::trackToolExists(candidates));
    dir.write("b/" + tool, "#!/bin/sh\n");
    EXPECT_TRUE(Feedback::trackToolExists(candidates));
    // Looked for beside the binary and in its prefix's libexec.
    const QStringList found = Feedback::trackToolCandidates(QStringLiteral("/opt/ls/bin"));
    EXPECT_TRUE(found.contains("/opt/ls/bin/" + tool) && found.contains("/opt/ls/libexec/" + tool));
}

TEST(FeedbackTest, OperatingSystemVersionIsReadFromTheLeadingNumbers) {
    const std::pair<const char*, QVersionNumber> cases[] = {
        {"6.12.48+deb13-cloud-amd64", QVersionNumber(6, 12, 48)},
        {"7", QVersionNumber(7, 0, 0)},
        {"unknown", QVersionNumber(0, 0, 0)},
        {"99999999999999999999.1.2", QVersionNumber(0, 1, 2)}};
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(Feedback::versionOf(QString::fromUtf8(text)), expected) << text;
}

} // namespace
