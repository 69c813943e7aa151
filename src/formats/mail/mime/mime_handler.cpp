// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// mime_handler.cpp - presents the members that the search finds, and answers queries about the message's header.
//
// The header that queries see is the first block of the file, whichever member is the current one. Nothing is built
// or rewritten: AddMember refuses.
//
// Bounds: answers are limited by the 64 KiB of header lines that are kept.
#include "formats/mail/mime/mime_handler.h"

#include <cstring>
#include <new>

#include "core/memory_block.h"
#include "core/refuse.h"
#include "decoders/mail/encoded_words.h"
#include "formats/mail/mime/member_search.h"

namespace brix::mime {

namespace {

using mail::Text;

// Copies a text and its terminator, if the buffer will do.
bool Answer(Text answer, char* text, uint32_t* io_size) {
  const uint32_t room = *io_size;
  *io_size = static_cast<uint32_t>(answer.size()) + 1;
  if (text == nullptr || room < *io_size) return false;
  std::copy(answer.begin(), answer.end(), text);
  text[answer.size()] = '\0';
  return true;
}

class MimeHandler final : public ArchiveHandler {
 public:
  MimeHandler(Stream* in, const HandlerArgs& args)
      : ArchiveHandler(in, args.ownership, args.type_id), formats_(args.formats) {}

  [[nodiscard]] bool OpenArchive(char* name) override {
    Rewind();
    return NextMember(name);
  }

  [[nodiscard]] bool NextMember(char* name) override {
    name[0] = '\0';
    has_member_ = false;
    if (!is_open_) Rewind();
    if (search_.at_end()) return true;
    if (!search_.Next()) return Refuse("mime: the search failed");
    if (search_.at_end()) {
      if (!has_shown_) NoteUnseen(kUnseenNothing);
      return true;
    }
    has_member_ = has_shown_ = true;
    CopyName(search_.member().Name(), name);
    return true;
  }

  [[nodiscard]] bool ExtractMember(Stream* out, uint32_t max_bytes, uint32_t* written) override {
    *written = 0;
    return has_member_ && search_.Extract(*out, max_bytes, written);
  }

  // The target of a message to be built: set once, and before the first member is looked for.
  [[nodiscard]] bool SetContext(uint64_t value) override {
    if (context_value_ != 0 || is_open_) return false;
    return ArchiveHandler::SetContext(value);
  }

  [[nodiscard]] bool GetMemberType(char* text, uint32_t* io_size) override {
    if (!has_member_ || text == nullptr || *io_size < kTypeBufferSize) {
      *io_size = kTypeBufferSize;
      return false;
    }
    return Answer(mail::TextOf(kClassWords[static_cast<uint32_t>(search_.member().content)]), text, io_size);
  }

  [[nodiscard]] bool GetMemberHeader(uint32_t index, char* name, char* text, uint32_t* io_size) override {
    Text field;
    if (!search_.headers().Field(index, &field)) return false;
    const auto colon = static_cast<size_t>(std::find(field.begin(), field.end(), ':') - field.begin());
    if (name != nullptr) {
      const size_t size = std::min<size_t>(colon, kMaxFieldName);
      std::copy_n(field.begin(), size, name);
      name[size] = '\0';
    }
    return Answer(SkipWhiteSpace(field.subspan(std::min(colon + 1, field.size()))), text, io_size);
  }

  // A header field's value. "decoded-" before the name: with its encoded words decoded; "charset-" after that: the
  // character set of the first of them.
  [[nodiscard]] bool GetMemberProperty(const char* name, char* text, uint32_t* io_size) override {
    std::string_view asked(name);
    const bool decoded = TakePrefix("decoded-", &asked);
    const bool charset = TakePrefix("charset-", &asked);
    if (asked.ends_with(':')) asked.remove_suffix(1);
    std::array<char, kNameBufferSize> start;
    if (asked.size() >= start.size()) return false;
    std::ranges::transform(asked, start.begin(),
                           [](char c) { return static_cast<char>(mail::Lower(static_cast<uint8_t>(c))); });
    start[asked.size()] = ':';
    Text value;
    if (!search_.headers().Find({start.data(), asked.size() + 1}, &value)) {
      if (asked != "filename" || !has_member_) return false;
      value = mail::TextOf(search_.member().Name());
    }
    if (charset) return Answer(mail::TextOf(mail::CharsetOfEncodedWords(value)), text, io_size);
    if (!decoded) return Answer(value, text, io_size);
    MemoryBlock buffer;
    if (!buffer.TryResize(value.size())) return false;
    const uint32_t size = mail::DecodeEncodedWords(value, buffer.data());
    return Answer(Text(buffer.data(), size), text, io_size);
  }

  // Lets go of the current member: it can no longer be extracted or asked about. False when there is none.
  [[nodiscard]] bool ReleaseMember() override {
    const bool had_member = has_member_;
    has_member_ = false;
    return had_member;
  }

  // Goes back to the start: the next NextMember shows the first member again.
  [[nodiscard]] bool ResetMembers() override {
    Rewind();
    return true;
  }

 private:
  static bool TakePrefix(std::string_view prefix, std::string_view* name) {
    if (!mail::BeginsWith(mail::TextOf(*name), prefix)) return false;
    name->remove_prefix(prefix.size());
    return true;
  }

  void Rewind() {
    has_member_ = has_shown_ = false;
    is_open_ = true;
    search_.Open(read_stream_, formats_);
  }

  const FormatTable& formats_;
  MemberSearch search_;
  bool is_open_ = false;
  bool has_member_ = false;
  bool has_shown_ = false;  // since the start
};

}  // namespace

ArchiveHandler* CreateMimeHandler(Stream* in, const HandlerArgs& args) { return new MimeHandler(in, args); }

}  // namespace brix::mime
