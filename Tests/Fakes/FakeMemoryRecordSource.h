#pragma once

#include <memory>

#include "NimbeMCP/MemoryRecord.h"

namespace nimbe {

/// The records that a test puts there, as they are.
class FakeMemoryRecordSource final : public MemoryRecordSource {
public:
    explicit FakeMemoryRecordSource(MemoryRecords records = {}) { set(std::move(records)); }

    void set(MemoryRecords records) {
        current = std::make_shared<const MemoryRecords>(std::move(records));
    }
    [[nodiscard]] std::shared_ptr<const MemoryRecords> records() override { return current; }

private:
    std::shared_ptr<const MemoryRecords> current;
};

} // namespace nimbe
