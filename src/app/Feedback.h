#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVersionNumber>

#include <functional>

// The feedback mail: a mailto: URL addressed to support with a subject and a body describing
// this installation, handed to the desktop's mail client.
class Feedback {
public:
    // What the mail body reports.
    struct Facts {
        QVersionNumber osVersion; // major, minor and patch of the running kernel
        QString appVersion;       // empty when the application declares none
        bool canRunTrackTool = false;
    };

    static QString supportAddress();
    // The per-process traffic tool's file name.
    static QString trackToolName();
    // Where the traffic tool may be installed relative to the directory of the running binary:
    // beside it, in the libexec folders of its prefix, and in the build tree.
    static QStringList trackToolCandidates(const QString& applicationDir);
    // True when one of the candidates exists and is not a directory.
    static bool trackToolExists(const QStringList& candidates);

    // "6.1.0-18-amd64" -> 6.1.0; missing parts read as 0.
    static QVersionNumber versionOf(const QString& text);
    // The version printed as a record of its three numbers.
    static QString versionRecord(const QVersionNumber& version);

    // The facts of this process and machine.
    static Facts currentFacts();
    // The localised subject.
    static QString subject();
    // The body: two line feeds, then "Info:", the OS version, the app version and whether the
    // traffic tool can run, each label localised and followed by two line feeds.
    static QString body(const Facts& facts);
    // mailto:<support>?subject=...&body=... with every reserved character percent-encoded.
    static QUrl mailUrl(const Facts& facts);

    // Opens the mail client with the feedback mail; false when no client took it (nothing
    // else happens then). opener defaults to QDesktopServices::openUrl.
    static bool send(const std::function<bool(const QUrl&)>& opener = {});
};
