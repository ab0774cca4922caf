#pragma once

namespace nimbe {

/// Makes the items that are drawn in C++ known to QML as module "Nimbe". Once a process;
/// later calls do nothing.
void registerQmlTypes();

} // namespace nimbe
