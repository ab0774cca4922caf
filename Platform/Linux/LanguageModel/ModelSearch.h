#pragma once

#include <string>
#include <vector>

#include "Foundation/HttpClient.h"
#include "Foundation/UserDefaults.h"
#include "PlatformLanguageModel/ModelServer.h"

namespace nimbe {

/// Where a model server is looked for, and which model of it is meant.
struct ModelSearch {
    std::string address; // empty: the usual ports of this machine
    bool allowsOtherHosts = false;
    std::string name; // empty: the server's own choice

    [[nodiscard]] static ModelSearch in(UserDefaults& defaults);

    friend bool operator==(const ModelSearch&, const ModelSearch&) = default;
};

/// Looks for it. Ends when `deadline` has passed for each server that is asked; they are
/// asked all at once. Of the ports, the first with a usable model counts, in their order,
/// else the one that tells most. Nothing is sent where that is not allowed.
[[nodiscard]] Task<ModelServer> findModelServer(MainActor& actor, HttpClient& http,
    ModelSearch search, std::vector<int> ports, Seconds deadline);

} // namespace nimbe
