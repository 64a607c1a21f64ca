#include "FacePlugin.h"

#include "FaceItem.h"

#include <qqml.h>

void FacePlugin::registerTypes(const char* uri) {
    qmlRegisterType<FaceItem>(uri, 1, 0, "Face");
}
