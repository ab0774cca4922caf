#pragma once

#include <cerrno>
#include <system_error>
#include <utility>

namespace nimbe {

[[nodiscard]] inline std::error_code lastError() {
    return {errno, std::generic_category()};
}

/// An open file, closed when this goes.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept
        : descriptor(std::exchange(other.descriptor, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(descriptor, other.descriptor);
        return *this;
    }
    ~FileDescriptor();

    [[nodiscard]] int get() const { return descriptor; }
    explicit operator bool() const { return descriptor >= 0; }

private:
    int descriptor = -1;
};

} // namespace nimbe
