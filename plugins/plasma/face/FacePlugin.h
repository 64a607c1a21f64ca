#pragma once

#include <QQmlExtensionPlugin>

// import com.quillfern.lumenstat.face 1.0: the Face item for the Plasma applets.
class FacePlugin : public QQmlExtensionPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QQmlExtensionInterface_iid)
public:
    void registerTypes(const char* uri) override;
};
