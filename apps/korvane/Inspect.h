#pragma once
// The commands that show what the library found: info (library, build record, paths),
// plugins (modules, plug-ins, components and their properties) and detect (grabbers
// and the cameras behind them). Each prints to stdout and answers the exit code.
// Main thread only. Decision: a component is shown through a fresh instance made by
// its manager and released afterwards, since managers do not hand out prototypes.

#include <string>

namespace KorvaneTool {

int showInfo();
// name empty: every module and plug-in; else the plug-in or component of that name.
int showPlugins(const std::string& name);
int showDetected();

}  // namespace KorvaneTool
