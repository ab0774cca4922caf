#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "NimbeKitCore/History/SecretStore.h"

namespace nimbe {

/// Secrets in memory, by "service account". With `error` set it answers nothing
/// else.
class FakeSecretStore final : public SecretStore {
public:
    std::map<std::string, Bytes> secrets;
    std::optional<KeyStoreError::Kind> error;
    std::function<void()> onAdd = [] {
    }; // before the secret is looked for
    std::function<void()> onRead = [] {
    }; // before the secret is looked for
    int reads = 0;

    [[nodiscard]] Result<std::optional<Bytes>, KeyStoreError> read(const Item& item) override {
        ++reads;
        onRead();
        if (error) return failure(KeyStoreError{*error});
        const auto found = secrets.find(item.service + " " + item.account);
        if (found == secrets.end()) return std::optional<Bytes>();
        return std::optional<Bytes>(found->second);
    }

    [[nodiscard]] Result<Added, KeyStoreError> add(const Item& item, const Bytes& secret) override {
        onAdd();
        if (error) return failure(KeyStoreError{*error});
        const auto [place, isNew] = secrets.emplace(item.service + " " + item.account, secret);
        return isNew ? Added::stored : Added::duplicate;
    }
};

} // namespace nimbe
