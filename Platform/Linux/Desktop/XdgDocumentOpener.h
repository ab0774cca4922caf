#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Foundation/Log.h"
#include "NimbeApp/DocumentOpener.h"

namespace nimbe {

/// The user's own programs by xdg-open, and the file manager by freedesktop.org's
/// FileManager1 on the session bus; a file manager without it gets the file's folder.
///
/// What is started is no part of this program: it lives on in a session of its own, with
/// the environment that this program was started with and not what it has made of it, and
/// leaves no zombie. Addresses go to no shell. A log line has an address up to its host.
class XdgDocumentOpener final : public DocumentOpener {
public:
    /// Each "NAME=value"; empty: what this process was started with.
    explicit XdgDocumentOpener(LogSink& sink, std::vector<std::string> environment = {});
    XdgDocumentOpener(const XdgDocumentOpener&) = delete;
    XdgDocumentOpener& operator=(const XdgDocumentOpener&) = delete;
    ~XdgDocumentOpener() override;

    void openURL(const std::string& url) override;
    void reveal(const std::filesystem::path& file) override;

    /// http, https and mailto, without white space and control characters.
    [[nodiscard]] static bool isAllowed(const std::string& url);
    /// Of an allowed one, for the log: neither a person nor what was asked for.
    [[nodiscard]] static std::string origin(const std::string& url);

private:
    class Worker;
    Log log;
    std::unique_ptr<Worker> worker;
};

} // namespace nimbe
