#pragma once

#include <filesystem>

#include "Foundation/Log.h"
#include "NimbeKitCore/History/SecretStore.h"

namespace nimbe {

/// One file a secret, named SERVICE.ACCOUNT, of mode 0600 in a private folder: a
/// line of base64. It keeps other users out, not whoever has the disk.
class SecretFileStore final : public SecretStore {
public:
    /// The folder must be there when a secret is added.
    SecretFileStore(std::filesystem::path folder, LogSink& sink);

    [[nodiscard]] Result<std::optional<Bytes>, KeyStoreError> read(const Item& item) override;
    [[nodiscard]] Result<Added, KeyStoreError> add(const Item& item, const Bytes& secret) override;

private:
    std::filesystem::path folder;
    Log log;

    [[nodiscard]] std::filesystem::path fileOf(const Item& item) const;
};

} // namespace nimbe
