// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// countdown.h - lets one allocation fail.
#pragma once

#include <cstdint>

extern long countdown;  // allocations until one fails; negative: none does
extern bool happened;   // one failed

// What a walk saw, in a form that takes no memory: which members at which levels, and whether it was told of trouble.
struct Seen {
  uint64_t members = 14695981039346656037u;
  bool trouble = false;

  void Member(uint64_t level, const char* name) {
    members = (members ^ level) * 1099511628211u;
    for (; *name != '\0'; ++name) members = (members ^ static_cast<unsigned char>(*name)) * 1099511628211u;
  }
  // Whether nothing was hidden: the members are those of the undisturbed walk, or the host was told.
  [[nodiscard]] bool IsHonest(const Seen& undisturbed) const {
    return trouble || members == undisturbed.members;
  }
};
