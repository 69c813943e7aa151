// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// sfx_handler.cpp - reads the archive inside an executable with that archive's own handler.
//
// The inner handler reads a view of the executable that starts at the archive, and does everything; this one keeps the
// view in place and speaks for it under its own type number. Which archive it is and where was found when the format
// was asked for: a program is searched once for its detection and once for its handler.
//
// Bounds: the inner formats are archives that hold no executable's search of their own, so handlers are nested once.
#include "formats/microsoft/sfx/sfx_handler.h"

#include <memory>
#include <new>

#include "core/refuse.h"
#include "core/stream_views.h"
#include "formats/microsoft/sfx/sfx_detect.h"

namespace brix::sfx {

namespace {

class SelfExtractorHandler final : public ArchiveHandler {
 public:
  SelfExtractorHandler(Stream* in, const HandlerArgs& args, const EmbeddedArchive& archive)
      : ArchiveHandler(in, args.ownership, args.type_id),
        inner_args_{archive.type_id, 1, args.detect_flags, args.formats},
        archive_at_(archive.offset) {}

  [[nodiscard]] bool OpenArchive(char* name) override {
    if (inner_ == nullptr && !MakeInner()) return false;
    return Told(inner_->OpenArchive(name));
  }

  [[nodiscard]] bool NextMember(char* name) override {
    return inner_ != nullptr && Told(inner_->NextMember(name));
  }

  [[nodiscard]] bool ExtractMember(Stream* out, uint32_t max_bytes, uint32_t* written) override {
    *written = 0;
    return inner_ != nullptr && Told(inner_->ExtractMember(out, max_bytes, written));
  }

  void RestartMember() override {
    if (inner_ != nullptr) inner_->RestartMember();
  }
  [[nodiscard]] bool SetContext(uint64_t value) override {
    return inner_ != nullptr ? inner_->SetContext(value) : ArchiveHandler::SetContext(value);
  }
  [[nodiscard]] bool AddMember(Stream* data, uint32_t size, const Property* props, uint32_t count) override {
    return inner_ != nullptr && inner_->AddMember(data, size, props, count);
  }
  [[nodiscard]] bool GetMemberSize(uint32_t* value, uint32_t* io_size) override {
    return inner_ != nullptr && inner_->GetMemberSize(value, io_size);
  }
  [[nodiscard]] bool GetMemberType(char* text, uint32_t* io_size) override {
    return inner_ != nullptr && inner_->GetMemberType(text, io_size);
  }
  [[nodiscard]] uint32_t GetMemberHint() override { return inner_ != nullptr ? inner_->GetMemberHint() : 0; }
  [[nodiscard]] bool GetMemberHeader(uint32_t index, char* name, char* text, uint32_t* io_size) override {
    return inner_ != nullptr && inner_->GetMemberHeader(index, name, text, io_size);
  }
  [[nodiscard]] bool GetMemberProperty(const char* name, char* text, uint32_t* io_size) override {
    return inner_ != nullptr && inner_->GetMemberProperty(name, text, io_size);
  }
  [[nodiscard]] bool ReleaseMember() override { return inner_ != nullptr && inner_->ReleaseMember(); }
  [[nodiscard]] bool ResetMembers() override { return inner_ != nullptr && inner_->ResetMembers(); }

 private:
  [[nodiscard]] bool MakeInner() {
    uint32_t size = 0;
    const FormatEntry* const row = inner_args_.formats.Find(inner_args_.type_id);
    if (row == nullptr || row->create == nullptr || !input_stream_->GetSize(&size) || archive_at_ > size) {
      return Refuse("sfx: no inner archive");
    }
    std::unique_ptr<Stream> view =
        std::make_unique<RangeStream>(input_stream_, archive_at_, size - archive_at_);
    inner_.reset(row->create(view.get(), inner_args_));
    if (inner_ == nullptr) return Refuse("sfx: no inner handler");
    (void)view.release();  // the inner handler's
    return true;
  }

  // Passes on a result of the inner handler, and why it was so.
  [[nodiscard]] bool Told(bool result) {
    memberStatus = inner_->memberStatus;
    NoteUnseen(inner_->unseen());
    return result;
  }

  const HandlerArgs inner_args_;
  const uint32_t archive_at_;
  std::unique_ptr<ArchiveHandler> inner_;  // reads input_stream_, which goes later
};

}  // namespace

ArchiveHandler* CreateSfxHandler(Stream* in, const HandlerArgs& args) {
  EmbeddedArchive archive;
  CachedReadStream cache;
  cache.SetInner(in, 0);
  if (!LocateSfx(cache, args.detect_flags, args.formats, &archive)) return nullptr;
  const FormatEntry* const row = args.formats.Find(archive.type_id);
  if (row == nullptr || row->create == nullptr) return nullptr;
  return new SelfExtractorHandler(in, args, archive);
}

}  // namespace brix::sfx
