// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// mime_format.h - what the walk keeps of a member, and the limits of the mail format.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "core/archive_handler.h"
#include "decoders/mail/mail_text.h"

namespace brix::mime {

enum class ContentClass : uint32_t { kUnknown, kMultipart, kRfc822, kPlainText, kOtherText, kOther };

// The words for them.
inline constexpr std::array<std::string_view, 6> kClassWords = {"unknowncontent", "multipart", "rfc822",
                                                                "plaintext",      "othertext", "other"};
inline constexpr uint32_t kTypeBufferSize = 15;  // bytes: the longest word and its terminator

enum class TransferEncoding : uint32_t {
  kNone,
  kUuencode,
  kBase64,
  k7Bit,
  k8Bit,
  kBinary,
  kQuotedPrintable,
  kBinHex
};

inline constexpr uint32_t kMaxHeaderLines = 100;   // examined after the first "content-" field of a block
inline constexpr uint32_t kMaxField = 256 * 1024;  // bytes of a field with its continuation lines
inline constexpr uint32_t kMaxHeaderRecord = 64 * 1024;  // bytes of header lines kept for queries
inline constexpr uint32_t kMaxGuessedLine = 72;          // characters of a line that is taken for a boundary
inline constexpr uint32_t kMaxFieldName = 31;            // bytes of a field's name in a query

// The state words of the current member, and its name.
struct MemberState {
  ContentClass content = ContentClass::kUnknown;
  TransferEncoding encoding = TransferEncoding::kNone;
  bool encoding_from_type = false;  // implied by the content type, not stated
  bool is_attachment = false;
  bool has_dash_line = false;  // a line of the header block began with two dashes
  uint32_t name_size = 0;
  std::array<uint8_t, kNameBufferSize> name;

  void Clear() {
    content = ContentClass::kUnknown;
    encoding = TransferEncoding::kNone;
    encoding_from_type = is_attachment = has_dash_line = false;
    name_size = 0;
  }
  void SetName(mail::Text text) {
    name_size = static_cast<uint32_t>(std::min<size_t>(text.size(), kNameBufferSize - 1));
    std::copy_n(text.begin(), name_size, name.begin());
  }
  [[nodiscard]] std::string_view Name() const {
    const std::string_view text(reinterpret_cast<const char*>(name.data()), name_size);
    return text.empty() || text[0] == '\0' ? kUnknownName : text;
  }
  // No encoding, or one that leaves text as it is.
  [[nodiscard]] bool IsPlain() const {
    return encoding == TransferEncoding::kNone || encoding == TransferEncoding::k7Bit;
  }
};

}  // namespace brix::mime
