// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// content_field.h - what a "content-" header field and the first line of a uuencoded block say about a member.
#pragma once

#include "decoders/mail/boundary_set.h"
#include "formats/mail/mime/mime_format.h"

namespace brix::mime {

// Interprets a field that begins with "content-"; its lines are joined by LF and hold no comments.
void InterpretContentField(mail::Text field, MemberState* member);

// Whether InterpretContentField makes anything of a field of that name.
[[nodiscard]] bool FieldIsInterpreted(mail::Text field);

// The boundary strings that such a field names: the next one from `*at` on, which is moved past it. False: no more.
// `boundary`: in: room for one; out: cut to it.
[[nodiscard]] bool TakeBoundary(mail::Text field, size_t* at, std::span<uint8_t>* boundary);

// Whether a line that begins with "begin" may open a uuencoded block. Sets the member's name and encoding.
[[nodiscard]] bool InterpretBeginLine(mail::Text line, MemberState* member);

// The string that a line of a header block, which begins with two dashes, announces as a boundary; empty: none.
[[nodiscard]] mail::Text GuessBoundary(mail::Text line);

}  // namespace brix::mime
