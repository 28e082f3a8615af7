// SPDX-License-Identifier: MIT

// The model for QML. Whoever includes this links Qt6::Qml; applist::qt itself does not.

#pragma once

#include <qqml.h>

#include "adapters/qt/ListModel.h"

namespace applist::qt {

// Gives QML the type AppListModel, a ListModel, with `import Applist 1.0`.
inline void RegisterQmlTypes() {
    qmlRegisterType<ListModel>("Applist", 1, 0, "AppListModel");
}

}  // namespace applist::qt
