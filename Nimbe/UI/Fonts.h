#pragma once

#include "Foundation/Log.h"

namespace nimbe {

/// Makes the program's type faces, "Newsreader" and "Mulish", known to the toolkit: once
/// a process, whoever calls first. What cannot be loaded is logged, and the toolkit takes
/// another face in its place. Any thread, once there is a QGuiApplication.
void registerFonts(LogSink& sink);

} // namespace nimbe
