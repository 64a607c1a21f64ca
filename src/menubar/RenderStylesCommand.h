#pragma once

#include "BoxType.h"

#include <QImage>
#include <QStringList>

#include <cstdint>

// `lumenstat --render-styles DIR [--dark] [--sent KB] [--received KB]`: writes every
// network style as the tray item would show it, one PNG per style at 1x and 2x
// ("NN-name@1x.png", "NN-name@2x.png"), plus a sheet of all ten ("styles-light.png" or
// "styles-dark.png"). args are the words after --render-styles. Returns the exit status.
int runRenderStylesCommand(const QStringList& args);

// A style's name in file names and settings texts: "compact", "double-solo", ...
const char* styleFileName(BoxType type);

struct RenderStylesOptions {
    QString directory;
    bool dark = false;
    uint64_t sent = 12;       // KB/s
    uint64_t received = 2345; // KB/s
};

// Parses the words after --render-styles; sets error and returns false on bad input.
bool parseRenderStylesOptions(const QStringList& args, RenderStylesOptions& out, QString& error);

// The ten styles, fed a short ramp of records ending at (sent, received), drawn at dpr on a
// transparent background. Needs a QGuiApplication.
QImage renderStyle(int boxType, uint64_t sent, uint64_t received, qreal dpr);
// All ten styles, one under the other on a panel-coloured background, at dpr.
QImage renderStyleSheet(uint64_t sent, uint64_t received, bool dark, qreal dpr);
