// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// slot_table.h - the table behind the descriptors, the same on every system.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <mutex>

#include "platform/platform.h"

namespace brix::platform {

// `Lock` has lock() and unlock().
template <class Handle, class Lock>
class SlotTable {
 public:
  // The lowest free slot, which now holds `handle`; kNoDescriptor when all are taken.
  [[nodiscard]] int32_t Put(Handle handle) {
    const std::lock_guard guard(lock_);
    const auto free_slot = std::find(used_.begin(), used_.end(), false);
    if (free_slot == used_.end()) return kNoDescriptor;
    const auto slot = static_cast<size_t>(free_slot - used_.begin());
    used_[slot] = true;
    handles_[slot] = handle;
    return static_cast<int32_t>(slot);
  }

  // Clears the slot and returns what it held.
  Handle Take(int32_t slot) {
    const std::lock_guard guard(lock_);
    const auto index = static_cast<size_t>(slot);
    used_[index] = false;
    return handles_[index];
  }

  // Takes no lock: nobody but the slot's owner changes it.
  [[nodiscard]] Handle At(int32_t slot) const { return handles_[static_cast<size_t>(slot)]; }

 private:
  Lock lock_;
  std::array<bool, kMaxDescriptors> used_{};
  std::array<Handle, kMaxDescriptors> handles_{};
};

}  // namespace brix::platform
