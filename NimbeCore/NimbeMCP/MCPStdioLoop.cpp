#include "NimbeMCP/MCPStdioLoop.h"

#include <vector>

namespace nimbe {
namespace {

constexpr std::size_t readSize = 65'536; // a pipe's own buffer on Linux
/// Answers to lines that came together go together, up to this size.
constexpr std::size_t writeSize = 65'536;
/// What is longer is not kept for the next line.
constexpr std::size_t keptSize = 262'144;

} // namespace

void MCPStdioLoop::run() {
    std::vector<char> buffer(readSize);
    while (const auto count = channel.read(buffer)) {
        // Before the next read, which may wait for a client that waits for these.
        if (!take({buffer.data(), count}) || !flush()) return;
    }
    if (answer(unfinished)) (void)flush();
}

/// False when the client has gone.
bool MCPStdioLoop::take(std::string_view bytes) {
    for (auto end = bytes.find('\n'); end != bytes.npos; end = bytes.find('\n')) {
        const auto line = bytes.substr(0, end);
        bytes.remove_prefix(end + 1);
        if (unfinished.empty()) {
            if (!answer(line)) return false;
            continue;
        }
        unfinished += line;
        const bool isThere = answer(unfinished);
        unfinished.clear();
        giveBack(unfinished);
        if (!isThere) return false;
    }
    unfinished += bytes;
    return true;
}

bool MCPStdioLoop::answer(std::string_view line) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (const auto reply = server.handle(line)) {
        answers += *reply;
        answers += '\n';
    }
    return answers.size() < writeSize || flush();
}

bool MCPStdioLoop::flush() {
    const bool isThere = answers.empty() || channel.write(answers);
    answers.clear();
    giveBack(answers);
    return isThere;
}

void MCPStdioLoop::giveBack(std::string& text) {
    if (text.capacity() <= keptSize) return;
    std::string().swap(text); // an assignment may keep the memory
    channel.memoryBecameFree();
}

} // namespace nimbe
