#include "Foundation/Regex.h"

#include <limits>
#include <mutex>

#include <unicode/regex.h>
#include <unicode/unistr.h>

namespace nimbe {
namespace {

// ICU counts in units of this many steps and reports each full one.
constexpr std::size_t icuUnit = 10'000;

/// Steps that a run has used so far.
struct Meter {
    std::size_t used = 0;

    [[nodiscard]] bool isPastLimits() const { return used > Regex::longestRun; }
};

UBool U_CALLCONV countUnit(const void* context, std::int32_t /*units*/) {
    auto* meter = static_cast<Meter*>(const_cast<void*>(context));
    meter->used += icuUnit;
    return meter->isPastLimits() ? 0 : 1;
}

} // namespace

struct Regex::Compiled {
    std::u16string source;
    std::uint32_t flags = 0;
    std::once_flag once;
    std::unique_ptr<const icu::RegexPattern> pattern;

    /// Null for a wrong pattern.
    const icu::RegexPattern* get() {
        std::call_once(once, [this] {
            UErrorCode status = U_ZERO_ERROR;
            const icu::UnicodeString text(source.data(), static_cast<std::int32_t>(source.size()));
            std::unique_ptr<const icu::RegexPattern> made(
                icu::RegexPattern::compile(text, flags, status));
            if (U_SUCCESS(status)) pattern = std::move(made);
        });
        return pattern.get();
    }
};

Regex::Regex(std::u16string_view pattern, Case letterCase)
    : compiled(std::make_unique<Compiled>()) {
    compiled->source = pattern;
    if (letterCase == Case::insensitive) compiled->flags = UREGEX_CASE_INSENSITIVE;
}

Regex::~Regex() = default;

bool Regex::compiles() const {
    return compiled->get() != nullptr;
}

std::optional<Regex::Groups> Regex::firstMatch(std::u16string_view text) const {
    Run run(*this, text);
    if (run.findNext() != Run::Outcome::match) return std::nullopt;
    Groups groups;
    const int count = run.groupCount();
    groups.reserve(static_cast<std::size_t>(count) + 1);
    for (int number = 0; number <= count; ++number) groups.push_back(run.group(number));
    return groups;
}

struct Regex::Run::State {
    icu::UnicodeString text; // an alias of the caller's text
    std::unique_ptr<icu::RegexMatcher> matcher;
    Meter meter;

    [[nodiscard]] Outcome outcome(bool matched, UErrorCode status) {
        if (U_FAILURE(status)) {
            meter.used = std::numeric_limits<std::size_t>::max() / 2; // the run is over
            return Outcome::pastLimits;
        }
        return matched ? Outcome::match : Outcome::noMatch;
    }

    [[nodiscard]] bool mayTry() const { return matcher != nullptr && !meter.isPastLimits(); }
};

Regex::Run::Run(const Regex& regex, std::u16string_view text) : state(std::make_unique<State>()) {
    const auto* pattern = regex.compiled->get();
    constexpr std::size_t longest = std::numeric_limits<std::int32_t>::max();
    if (pattern == nullptr || text.size() > longest) return;

    const auto length = static_cast<std::int32_t>(text.size());
    state->text = icu::UnicodeString(false, text.data(), length);
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::RegexMatcher> matcher(pattern->matcher(state->text, status));
    if (U_FAILURE(status)) return;
    matcher->setStackLimit(largestStack, status);
    matcher->setMatchCallback(countUnit, &state->meter, status);
    if (U_SUCCESS(status)) state->matcher = std::move(matcher);
}

Regex::Run::~Run() = default;

Regex::Run::Outcome Regex::Run::matchAt(std::size_t position) {
    if (!state->mayTry()) return Outcome::pastLimits;
    UErrorCode status = U_ZERO_ERROR;
    const auto start = static_cast<std::int64_t>(position);
    const bool matched = state->matcher->lookingAt(start, status);
    return state->outcome(matched, status);
}

Regex::Run::Outcome Regex::Run::findNext() {
    if (!state->mayTry()) return Outcome::pastLimits;
    UErrorCode status = U_ZERO_ERROR;
    const bool matched = state->matcher->find(status);
    return state->outcome(matched, status);
}

std::optional<text::Range> Regex::Run::group(int number) const {
    if (number > state->matcher->groupCount()) return std::nullopt;
    UErrorCode status = U_ZERO_ERROR;
    const auto begin = state->matcher->start64(number, status);
    const auto end = state->matcher->end64(number, status);
    if (U_FAILURE(status) || begin < 0) return std::nullopt;
    return text::Range{static_cast<std::size_t>(begin), static_cast<std::size_t>(end)};
}

int Regex::Run::groupCount() const {
    return state->matcher->groupCount();
}

Replacement::Replacement(std::u16string_view pattern) {
    std::u16string literal;
    const auto flush = [&] {
        if (!literal.empty()) pieces.emplace_back(std::move(literal));
        literal.clear();
    };
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const bool hasNext = i + 1 < pattern.size();
        if (pattern[i] == u'\\' && hasNext) {
            literal += pattern[++i];
        } else if (pattern[i] == u'$' && hasNext) {
            flush();
            pieces.emplace_back(pattern[++i] - u'0');
        } else {
            literal += pattern[i];
        }
    }
    flush();
}

void Replacement::appendTo(
    std::u16string& output, std::u16string_view text, const Regex::Run& run) const {
    for (const auto& piece : pieces) {
        if (const auto* literal = std::get_if<std::u16string>(&piece)) {
            output += *literal;
        } else if (const auto range = run.group(std::get<int>(piece))) {
            output += text.substr(range->begin, range->end - range->begin);
        }
    }
}

bool replaceAll(std::u16string& text, const Regex& regex, const Replacement& replacement) {
    using Outcome = Regex::Run::Outcome;
    Regex::Run run(regex, text);
    std::u16string output;
    std::size_t copied = 0;
    bool found = false;
    auto outcome = run.findNext();
    for (; outcome == Outcome::match; outcome = run.findNext()) {
        found = true;
        const auto match = *run.group(0);
        output.append(text, copied, match.begin - copied);
        replacement.appendTo(output, text, run);
        copied = match.end;
    }
    if (outcome == Outcome::pastLimits) return false;
    if (!found) return true;
    output.append(text, copied);
    text = std::move(output);
    return true;
}

} // namespace nimbe
