#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <onnxruntime_cxx_api.h>
#include <span>
#include <string>
#include <vector>

namespace nimbe::onnx {

/// The runtime's environment, made with its first user; it logs nothing.
[[nodiscard]] Ort::Env& environment();

/// One graph that is ready to run. Throws Ort::Exception when its file is not one.
[[nodiscard]] Ort::Session session(const std::filesystem::path& file, int threads);

[[nodiscard]] std::vector<std::string> inputNames(const Ort::Session& session);
[[nodiscard]] std::vector<std::string> outputNames(const Ort::Session& session);

/// A tensor over memory of the caller's, which must outlive it.
template <typename T>
[[nodiscard]] Ort::Value view(std::span<T> values, std::span<const std::int64_t> shape) {
    static const auto memory = Ort::MemoryInfo::CreateCpu(OrtArenaAllocator, OrtMemTypeDefault);
    return Ort::Value::CreateTensor<T>(
        memory, values.data(), values.size(), shape.data(), shape.size());
}

} // namespace nimbe::onnx
