#include "NimbeUI/QmlTypes.h"

#include <QtQml/qqml.h>

#include "NimbeUI/LevelMeter.h"
#include "NimbeUI/SoftShadow.h"
#include "NimbeUI/Symbol.h"

namespace nimbe {

void registerQmlTypes() {
    static const bool isDone = [] {
        qmlRegisterType<LevelMeter>("Nimbe", 1, 0, "LevelMeter");
        qmlRegisterType<SoftShadow>("Nimbe", 1, 0, "SoftShadow");
        qmlRegisterType<SymbolItem>("Nimbe", 1, 0, "Symbol");
        return true;
    }();
    (void)isDone;
}

} // namespace nimbe
