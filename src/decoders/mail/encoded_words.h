// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// encoded_words.h - encoded words in header values: =?charset?B?...?= and =?charset?Q?...?=.
#pragma once

#include <string_view>

#include "decoders/mail/mail_text.h"

namespace brix::mail {

// Stores `value` with its encoded words decoded at `out`, which has room for as many bytes as `value`. White space
// between two encoded words is dropped, as are leading white space and one opening quote. Returns the bytes stored.
uint32_t DecodeEncodedWords(Text value, uint8_t* out);

// The character set that the first encoded word names; "unknown" when there is none.
[[nodiscard]] std::string_view CharsetOfEncodedWords(Text value);

}  // namespace brix::mail
