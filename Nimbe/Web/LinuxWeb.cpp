#include "NimbeApp/WebModule.h"
#include "PlatformHttp/CurlHttpClient.h"

namespace nimbe {
namespace {

class LinuxWeb final : public WebModule {
public:
    std::unique_ptr<HttpClient> makeHttpClient(MainActor& actor) override {
        return std::make_unique<CurlHttpClient>(actor);
    }
};

} // namespace
} // namespace nimbe

extern "C" __attribute__((visibility("default"))) nimbe::WebModule* nimbeWebModule() {
    static nimbe::LinuxWeb web;
    return &web;
}
