#pragma once

#include <memory>

#include "Foundation/HttpClient.h"
#include "Foundation/MainActor.h"

namespace nimbe {

/// Web requests, for the shell's verbs. In a library of its own, which is loaded when one
/// of them asks a server: the others start without it.
class WebModule {
public:
    virtual ~WebModule() = default;

    [[nodiscard]] virtual std::unique_ptr<HttpClient> makeHttpClient(MainActor& actor) = 0;
};

} // namespace nimbe
