#include "Feedback.h"

#include "platform/linux/TrackTool.h"
#include "settings/Language.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QRegularExpression>
#include <QSysInfo>

QString Feedback::supportAddress() {
    return QStringLiteral("lumenstat-support@quillfern.com");
}

QString Feedback::trackToolName() {
    return TrackTool::name();
}

QStringList Feedback::trackToolCandidates(const QString& applicationDir) {
    return TrackTool::candidates(applicationDir);
}

bool Feedback::trackToolExists(const QStringList& candidates) {
    return !TrackTool::firstExisting(candidates).isEmpty();
}

QVersionNumber Feedback::versionOf(const QString& text) {
    static const QRegularExpression leading(
        QStringLiteral("^\\s*(\\d+)(?:\\.(\\d+))?(?:\\.(\\d+))?"));
    const QRegularExpressionMatch match = leading.match(text);
    if (!match.hasMatch())
        return QVersionNumber(0, 0, 0);
    int parts[3] = {0, 0, 0};
    for (int i = 0; i < 3; ++i) {
        bool ok = false;
        const int value = match.captured(i + 1).toInt(&ok);
        parts[i] = ok ? value : 0;
    }
    return QVersionNumber(parts[0], parts[1], parts[2]);
}

QString Feedback::versionRecord(const QVersionNumber& version) {
    return QStringLiteral("OperatingSystemVersion(majorVersion: %1, minorVersion: %2, "
                          "patchVersion: %3)")
        .arg(version.majorVersion())
        .arg(version.minorVersion())
        .arg(version.microVersion());
}

Feedback::Facts Feedback::currentFacts() {
    Facts facts;
    facts.osVersion = versionOf(QSysInfo::kernelVersion());
    facts.appVersion = QCoreApplication::applicationVersion();
    facts.canRunTrackTool =
        trackToolExists(trackToolCandidates(QCoreApplication::applicationDirPath()));
    return facts;
}

QString Feedback::subject() {
    return Language::getLocalizedString(QStringLiteral("Lumenstat Feedback"));
}

QString Feedback::body(const Facts& facts) {
    const QString twoFeeds = QStringLiteral("\n\n");
    const QString separator = QStringLiteral(": ");
    QString text = twoFeeds;
    text += Language::getLocalizedString(QStringLiteral("Info:")) + twoFeeds;
    text += Language::getLocalizedString(QStringLiteral("OS Version")) + separator +
            versionRecord(facts.osVersion) + twoFeeds;
    text += Language::getLocalizedString(QStringLiteral("App Version")) + separator +
            (facts.appVersion.isEmpty() ? QStringLiteral("?") : facts.appVersion) + twoFeeds;
    text += Language::getLocalizedString(QStringLiteral("Can Run App Data Track Script")) +
            separator + (facts.canRunTrackTool ? QStringLiteral("true") : QStringLiteral("false")) +
            twoFeeds;
    return text;
}

QUrl Feedback::mailUrl(const Facts& facts) {
    QByteArray encoded = "mailto:" + QUrl::toPercentEncoding(supportAddress(), "@");
    encoded += "?subject=" + QUrl::toPercentEncoding(subject());
    encoded += "&body=" + QUrl::toPercentEncoding(body(facts));
    return QUrl::fromEncoded(encoded, QUrl::StrictMode);
}

bool Feedback::send(const std::function<bool(const QUrl&)>& opener) {
    const QUrl url = mailUrl(currentFacts());
    if (opener)
        return opener(url);
    return QDesktopServices::openUrl(url);
}
