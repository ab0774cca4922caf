#include "NimbeMCPMode/MCPMode.h"

#include <string>

#include "NimbeMCP/MCPServer.h"
#include "NimbeMCP/MCPStdioLoop.h"
#include "NimbeMCPMode/LoadedTools.h"
#include "NimbeMCPMode/Report.h"
#include "NimbeMCPMode/SessionBusPlace.h"
#include "NimbeMCPMode/StandardStreams.h"

namespace nimbe {
namespace {

#ifdef NIMBE_VERSION
constexpr const char* version = NIMBE_VERSION;
#else
constexpr const char* version = "0.1.0";
#endif

} // namespace

int runMCPMode() {
    StandardStreams streams;
    SessionBusPlace::adopt();
    report(std::string("ready (") + version + ")");
    LoadedTools tools;
    MCPServer server(tools, version);
    MCPStdioLoop(server, streams).run();
    return 0;
}

} // namespace nimbe
