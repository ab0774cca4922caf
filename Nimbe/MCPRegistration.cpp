#include "NimbeApp/MCPRegistration.h"

#include <utility>

#include "Foundation/Text.h"

namespace nimbe {
namespace {

constexpr const char* read = "read";
constexpr const char* update = "update";
constexpr const char* noConfig = "It is not a JSON object with servers by their names.";

std::string sentence(const std::error_code& error) {
    return error.message() + ".";
}

} // namespace

MCPRegistration::Place MCPRegistration::Place::below(
    const std::filesystem::path& config, std::filesystem::path program) {
    return {config / "Claude" / "claude_desktop_config.json", std::move(program)};
}

MCPRegistration::MCPRegistration(ConfigFiles& files, Place place, LogSink& sink)
    : files(files), where(std::move(place)), log(sink, "mcp") {}

std::string MCPRegistration::commandLine() const {
    return MCPClientConfig::cliCommand(where.program.native());
}

Result<MCPRegistration::State, MCPRegistration::Problem> MCPRegistration::state() const {
    const auto existing = files.read(where.configFile);
    if (!existing) return failure(failed(read, sentence(existing.error())));
    if (!*existing) return State();
    // As a merge would take it: what is not understood has no state.
    if (!MCPClientConfig::remove(**existing)) return failure(failed(read, noConfig));
    State state{MCPClientConfig::registeredCommand(**existing)};
    state.isThisProgram = MCPClientConfig::isRegistered(**existing, where.program.native());
    return state;
}

std::optional<MCPRegistration::Problem> MCPRegistration::install() {
    if (!text::isValidUtf8(where.program.native()))
        return failed(update, "JSON cannot name the folder that Nimbe is in: it is not UTF-8.");
    return change([&](const auto& existing) {
        return MCPClientConfig::merge(existing, where.program.native())
            .map([](std::string&& merged) { return std::optional(std::move(merged)); });
    });
}

std::optional<MCPRegistration::Problem> MCPRegistration::remove() {
    return change(
        [](const auto& existing) { return MCPClientConfig::remove(existing.value_or("")); });
}

std::optional<MCPRegistration::Problem> MCPRegistration::change(const Edit& edit) {
    constexpr int attempts = 5;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        // One that is there and must not be read is not written over.
        const auto existing = files.read(where.configFile);
        if (!existing) return failed(update, sentence(existing.error()));
        const auto content = edit(*existing);
        if (!content) return failed(update, noConfig);
        if (!*content || *existing == **content) return std::nullopt;
        const auto error = files.replace(where.configFile, *existing, **content);
        if (error == std::errc::operation_canceled) continue; // the client has just written it
        if (error) return failed(update, sentence(error));
        log.info("mcp: the client's config is written, %zu bytes", (*content)->size());
        return std::nullopt;
    }
    return failed(update, "Another program keeps writing it.");
}

MCPRegistration::Problem MCPRegistration::failed(const char* doing, std::string reason) const {
    log.error("mcp: the client's config is not %s: %s", doing == read ? "read" : "updated",
        reason.c_str());
    return {std::string("Could not ") + doing + " the Claude Desktop config. Check the file at " +
                where.configFile.string() + ".",
        std::move(reason)};
}

} // namespace nimbe
