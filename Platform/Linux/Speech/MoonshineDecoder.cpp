#include "PlatformSpeech/MoonshineDecoder.h"

#include <algorithm>
#include <array>
#include <random>
#include <stdexcept>

namespace nimbe {
namespace {

constexpr std::int64_t beginToken = 1;
constexpr std::int64_t endToken = 2;

// The fastest speech that was decoded rightly had 5.6 tokens a second. What goes past
// this repeats itself.
constexpr double tokensPerSecond = 7;
constexpr std::size_t leastCap = 8;

// A guess is checked in one pass over all of it, whose quantized sums differ from those
// of single steps. Over 1,143 tokens of base the lead of the best over the next differed
// by 0.12 in the median and 1.1 at most, and 4 times the other one was chosen, at a lead
// of 0.02 to 0.17. Where the lead is smaller than this, the steps decide from there on.
constexpr float clearLead = 1.2F;

// Where the decoder's inputs and outputs begin to be cache.
constexpr std::size_t firstCacheInput = 2;
constexpr std::size_t firstCacheOutput = 1;

bool isOfDecoder(std::size_t cacheIndex) {
    return cacheIndex % 4 < 2; // decoder.key, decoder.value, encoder.key, encoder.value
}

std::vector<const char*> pointers(const std::vector<std::string>& names) {
    std::vector<const char*> all;
    all.reserve(names.size());
    for (const auto& name : names) all.push_back(name.c_str());
    return all;
}

} // namespace

MoonshineDecoder::MoonshineDecoder(const std::filesystem::path& folder, int threads)
    : encoder(onnx::session(folder / "encoder_model.onnx", threads)),
      decoder(onnx::session(folder / "decoder_model_merged.onnx", threads)),
      vocabulary(folder / "tokens.txt"), inputNames(onnx::inputNames(decoder)),
      outputNames(onnx::outputNames(decoder)), inputs(pointers(inputNames)),
      outputs(pointers(outputNames)) {
    // input_ids, encoder_hidden_states, the caches, use_cache_branch; logits, the caches.
    const bool isExpected = inputNames.size() > 6 && inputNames.size() == outputNames.size() + 2 &&
                            (outputNames.size() - firstCacheOutput) % 4 == 0 &&
                            encoder.GetInputCount() == 1 && encoder.GetOutputCount() == 1;
    if (!isExpected) throw std::runtime_error("the speech model has other inputs than expected");
    const auto shape =
        decoder.GetInputTypeInfo(firstCacheInput).GetTensorTypeAndShapeInfo().GetShape();
    if (shape.size() != 4 || shape[1] <= 0 || shape[3] <= 0)
        throw std::runtime_error("the speech model has another cache than expected");
    heads = shape[1];
    headSize = shape[3];
}

std::optional<Ort::Value> MoonshineDecoder::encode(std::span<const float> samples) {
    const std::array<std::int64_t, 2> shape{1, static_cast<std::int64_t>(samples.size())};
    // The runtime takes inputs as writable, and does not write.
    const auto input =
        onnx::view<float>({const_cast<float*>(samples.data()), samples.size()}, shape);
    Ort::RunOptions options;
    {
        const std::lock_guard lock(runningMutex);
        running = &options;
    }
    constexpr std::array inputName{"input_values"};
    constexpr std::array outputName{"last_hidden_state"};
    std::optional<Ort::Value> sound;
    std::exception_ptr problem;
    try {
        auto out = encoder.Run(options, inputName.data(), &input, 1, outputName.data(), 1);
        sound.emplace(std::move(out.front()));
    } catch (...) {
        problem = std::current_exception();
    }
    const std::lock_guard lock(runningMutex);
    const bool wasInterrupted = running == nullptr;
    running = nullptr;
    if (problem && !wasInterrupted) std::rethrow_exception(problem);
    if (wasInterrupted) return std::nullopt;
    return sound;
}

void MoonshineDecoder::interrupt() noexcept {
    const std::lock_guard lock(runningMutex);
    if (!running) return;
    running->SetTerminate();
    running = nullptr;
}

MoonshineDecoder::Cache MoonshineDecoder::emptyCache() {
    Ort::AllocatorWithDefaultOptions allocator;
    const std::array<std::int64_t, 4> shape{0, heads, 1, headSize};
    Cache cache;
    for (std::size_t i = firstCacheOutput; i < outputNames.size(); ++i)
        cache.push_back(Ort::Value::CreateTensor<float>(allocator, shape.data(), shape.size()));
    return cache;
}

std::vector<Ort::Value> MoonshineDecoder::step(
    const SpeechTokens& tokens, const Ort::Value& sound, const Cache& cache, Branch branch) {
    auto ids = tokens;
    const std::array<std::int64_t, 2> shape{1, static_cast<std::int64_t>(ids.size())};
    const std::array<std::int64_t, 1> one{1};
    const auto idsValue = onnx::view<std::int64_t>(ids, shape);
    bool usesCache = branch == Branch::withCache;
    const auto branchValue = onnx::view<bool>({&usesCache, 1}, one);

    // The runtime wants its inputs side by side; these only borrow.
    std::vector<const OrtValue*> values{idsValue, sound};
    for (const auto& value : cache) values.push_back(value);
    values.push_back(branchValue);
    std::vector<Ort::Value> results;
    results.reserve(outputs.size());
    for (std::size_t i = 0; i < outputs.size(); ++i) results.emplace_back(nullptr);
    std::vector<OrtValue*> raw(outputs.size(), nullptr);
    Ort::ThrowOnError(Ort::GetApi().Run(decoder, nullptr, inputs.data(), values.data(),
        values.size(), outputs.data(), outputs.size(), raw.data()));
    for (std::size_t i = 0; i < outputs.size(); ++i) results[i] = Ort::Value{raw[i]};
    return results;
}

std::vector<MoonshineDecoder::Choice> MoonshineDecoder::choices(const Ort::Value& logits) {
    const auto shape = logits.GetTensorTypeAndShapeInfo().GetShape();
    const auto width = static_cast<std::size_t>(shape[2]);
    const float* row = logits.GetTensorData<float>();
    std::vector<Choice> all;
    for (std::int64_t position = 0; position < shape[1]; ++position, row += width) {
        std::size_t best = 0;
        float second = -1e30F;
        for (std::size_t i = 1; i < width; ++i) {
            if (row[i] > row[best]) {
                second = row[best];
                best = i;
            } else {
                second = std::max(second, row[i]);
            }
        }
        all.push_back({static_cast<std::int64_t>(best), row[best] - second});
    }
    return all;
}

Ort::Value MoonshineDecoder::firstTokens(const Ort::Value& cached, std::int64_t count) {
    Ort::AllocatorWithDefaultOptions allocator;
    auto shape = cached.GetTensorTypeAndShapeInfo().GetShape();
    const auto whole = static_cast<std::size_t>(shape[2] * shape[3]);
    const auto kept = static_cast<std::size_t>(count * shape[3]);
    const auto rows = static_cast<std::size_t>(shape[0] * shape[1]);
    shape[2] = count;
    auto part = Ort::Value::CreateTensor<float>(allocator, shape.data(), shape.size());
    const float* from = cached.GetTensorData<float>();
    auto* to = part.GetTensorMutableData<float>();
    for (std::size_t row = 0; row < rows; ++row)
        std::copy_n(from + row * whole, kept, to + row * kept);
    return part;
}

/// Feeds the guess in one pass, which shows what would be chosen after each of its
/// tokens. What the decoder agrees with is in `tokens` and in the cache; the result is
/// what it chooses then.
std::int64_t MoonshineDecoder::begin(
    const Ort::Value& sound, std::span<const std::int64_t> guess, Progress& progress) {
    SpeechTokens fed{beginToken};
    fed.insert(fed.end(), guess.begin(), guess.end());
    auto results = step(fed, sound, emptyCache(), Branch::withoutCache);
    const auto chosen = choices(results.front());
    std::size_t right = 0;
    while (right < guess.size() && chosen[right].token == guess[right] &&
           chosen[right].lead > clearLead)
        ++right;
    progress.tokens.assign(guess.begin(), guess.begin() + static_cast<std::ptrdiff_t>(right));
    const auto next = chosen[right];
    const bool isClear = guess.empty() || next.lead > clearLead;
    // What is unclear is decided by a step, from the token before.
    const std::size_t kept = isClear ? right + 1 : right;
    if (kept == 0) return begin(sound, {}, progress);
    for (std::size_t i = firstCacheOutput; i < results.size(); ++i) {
        const bool isCut = isOfDecoder(i - firstCacheOutput) && kept < fed.size();
        progress.cache.push_back(isCut ? firstTokens(results[i], static_cast<std::int64_t>(kept))
                                       : std::move(results[i]));
    }
    return isClear ? next.token : advance(fed[right], sound, progress);
}

/// What is chosen after one more token.
std::int64_t MoonshineDecoder::advance(
    std::int64_t token, const Ort::Value& sound, Progress& progress) {
    auto results = step({token}, sound, progress.cache, Branch::withCache);
    for (std::size_t i = 0; i < progress.cache.size(); ++i)
        if (isOfDecoder(i)) progress.cache[i] = std::move(results[i + firstCacheOutput]);
    return choices(results.front()).front().token;
}

SpeechDecoder::Decoded MoonshineDecoder::decode(std::span<const float> samples,
    const SpeechTokens& guess, const std::function<bool()>& keepsGoing) {
    const double seconds = static_cast<double>(samples.size()) / sampleRate;
    const auto cap = std::max(leastCap, static_cast<std::size_t>(tokensPerSecond * seconds));
    const auto sound = encode(samples);
    if (!sound || !keepsGoing()) return {};

    Progress progress;
    auto next = begin(*sound, std::span(guess).first(std::min(guess.size(), cap)), progress);
    while (next != endToken && progress.tokens.size() < cap) {
        progress.tokens.push_back(next);
        if (progress.tokens.size() == cap) break;
        if (!keepsGoing()) return {std::move(progress.tokens), false};
        next = advance(next, *sound, progress);
    }
    return {std::move(progress.tokens), true};
}

std::string MoonshineDecoder::text(const SpeechTokens& tokens) const {
    return vocabulary.text(tokens);
}

void MoonshineDecoder::warmUp() {
    std::minstd_rand random(1);
    std::uniform_real_distribution<float> faint(-0.001F, 0.001F);
    std::vector<float> noise(static_cast<std::size_t>(sampleRate));
    std::generate(noise.begin(), noise.end(), [&] { return faint(random); });
    (void)decode(noise, {}, [] { return true; });
}

} // namespace nimbe
