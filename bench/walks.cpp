// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// walks.cpp - whole walks: ours as a host makes them, the peers' as a host would write them by hand.
#include "contenders.h"

#include <brixcore/brixcore.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string_view>

#include "core/byte_order.h"
#ifdef BRIX_PEER_LIBARCHIVE
#include <archive.h>
#include <archive_entry.h>
#endif
#ifdef BRIX_PEER_LIBDEFLATE
#include <libdeflate.h>
#endif

namespace bench {
namespace {

constexpr uint32_t kMaxDepth = 8;

bool IsContainer(std::string_view name) { return name.ends_with(".zip"); }

// --- brix ---

Sink& SinkOf(void* context) { return *static_cast<Sink*>(context); }

ArcStream HostStream(Sink& sink) {
  ArcStream stream{};
  stream.context = &sink;
  stream.close = [](void*) -> int32_t { return 0; };
  stream.read = [](void*, uint32_t, void*, uint32_t, uint32_t*) -> int32_t { return -1; };
  stream.write = [](void* context, uint32_t, const void* buffer, uint32_t length) -> int32_t {
    SinkOf(context).Take(buffer, length);
    return 0;
  };
  stream.get_size = [](void* context, uint32_t* size) -> int32_t {
    *size = static_cast<uint32_t>(SinkOf(context).output().bytes);
    return 0;
  };
  return stream;
}

bool ExtractCurrent(ArcTk2Archive* archive, std::string_view name, Target target, Sink& sink) {
  if (target == Target::kStream) {
    const ArcStream out = HostStream(sink);
    if (ArcTk2_ExtractToStream(archive, &out) != BRIX_OK) return false;
    sink.EndMember();
    return true;
  }
  void* block = nullptr;
  uint32_t size = 0;
  if (ArcTk2_ExtractToMemory(archive, &block, &size) != BRIX_OK) return false;
  if (!IsContainer(name)) sink.Member(block, size);
  ArcTk2_FreeMemory(block);
  return true;
}

}  // namespace

bool WalkWithBrix(ByteSpan bytes, Target target, Sink& sink) {
  ArcStream in{};
  ArcTk2Toolkit toolkit = nullptr;
  ArcTk2Archive archive = nullptr;
  if (ArcTkOpenFixedMemStream(&in, bytes.data(), static_cast<uint32_t>(bytes.size())) != BRIX_OK)
    return false;
  bool ok = ArcTk2_Init(&toolkit) == BRIX_OK && ArcTk2_OpenArchiveStream(&toolkit, &in, &archive) == BRIX_OK;
  if (ok) {
    char name[512];
    int32_t status = BRIX_OK;
    while (ok && (status = ArcTk2_GetNextFile(&archive, name, sizeof name)) == BRIX_OK) {
      ok = ExtractCurrent(&archive, name, target, sink);
    }
    ok = ok && status == BRIX_NO_MORE_MEMBERS;
    (void)ArcTk2_CloseArchive(&archive);
  }
  (void)ArcTk2_Close(&toolkit);
  (void)in.close(in.context);
  return ok;
}

// --- libarchive, recursed by hand ---

#ifdef BRIX_PEER_LIBARCHIVE
namespace {

bool WalkLevel(ByteSpan bytes, uint32_t depth, Sink& sink) {
  const std::unique_ptr<archive, decltype(&archive_read_free)> a(archive_read_new(), &archive_read_free);
  archive_read_support_filter_all(a.get());
  archive_read_support_format_all(a.get());
  archive_read_support_format_raw(a.get());  // what is only compressed
  if (depth > kMaxDepth || archive_read_open_memory(a.get(), bytes.data(), bytes.size()) != ARCHIVE_OK)
    return false;
  archive_entry* entry = nullptr;
  int status = ARCHIVE_OK;
  while ((status = archive_read_next_header(a.get(), &entry)) == ARCHIVE_OK) {
    if (IsContainer(archive_entry_pathname(entry))) {
      Bytes inner(static_cast<size_t>(archive_entry_size(entry)));
      if (archive_read_data(a.get(), inner.data(), inner.size()) != static_cast<la_ssize_t>(inner.size()) ||
          !WalkLevel(inner, depth + 1, sink)) {
        return false;
      }
      continue;
    }
    const void* block = nullptr;
    size_t size = 0;
    la_int64_t offset = 0;
    while ((status = archive_read_data_block(a.get(), &block, &size, &offset)) == ARCHIVE_OK)
      sink.Take(block, size);
    if (status != ARCHIVE_EOF) return false;
    sink.EndMember();
  }
  return status == ARCHIVE_EOF;
}

}  // namespace

bool WalkWithLibarchive(ByteSpan bytes, Sink& sink) { return WalkLevel(bytes, 0, sink); }
#else
bool WalkWithLibarchive(ByteSpan, Sink&) { return false; }
#endif

// --- A thin host on libdeflate ---

#ifdef BRIX_PEER_LIBDEFLATE
namespace {

class ThinHost {
 public:
  bool Walk(ByteSpan zip, uint32_t depth, Sink& sink) {
    constexpr size_t kEndSize = 22;
    if (zip.size() < kEndSize || depth > kMaxDepth) return false;
    const uint8_t* const end = &zip[zip.size() - kEndSize];  // these archives have no comment
    size_t at = brix::LoadLe32(end + 16);
    for (uint32_t left = brix::LoadLe16(end + 10); left != 0; --left) {
      const uint8_t* const entry = &zip[at];
      const uint32_t method = brix::LoadLe16(entry + 10), name_size = brix::LoadLe16(entry + 28);
      const size_t packed = brix::LoadLe32(entry + 20), plain = brix::LoadLe32(entry + 24);
      const size_t local = brix::LoadLe32(entry + 42);
      const std::string_view name(reinterpret_cast<const char*>(entry + 46), name_size);
      const size_t from = local + 30 + brix::LoadLe16(&zip[local + 26]) + brix::LoadLe16(&zip[local + 28]);
      at += 46 + name_size + brix::LoadLe16(entry + 30) + brix::LoadLe16(entry + 32);
      ByteSpan content = zip.subspan(from, packed);
      if (method == 8) {
        Bytes& buffer = buffers_[depth];  // one for each depth, as the parent's is still in use
        if (buffer.size() < plain) buffer.resize(plain);
        if (libdeflate_deflate_decompress(decompressor_.get(), content.data(), packed, buffer.data(), plain,
                                          nullptr) != LIBDEFLATE_SUCCESS) {
          return false;
        }
        content = ByteSpan(buffer).first(plain);
      }
      if (!IsContainer(name)) {
        sink.Member(content.data(), content.size());
      } else if (!Walk(content, depth + 1, sink)) {
        return false;
      }
    }
    return true;
  }

 private:
  std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> decompressor_{
      libdeflate_alloc_decompressor(), &libdeflate_free_decompressor};
  std::array<Bytes, kMaxDepth + 1> buffers_;
};

}  // namespace

bool WalkZipWithLibdeflate(ByteSpan bytes, Sink& sink) { return ThinHost().Walk(bytes, 0, sink); }

std::function<bool(ByteSpan, Sink&)> WalkGzipWithLibdeflate() {
  return [out = std::make_shared<Bytes>(), d = libdeflate_alloc_decompressor()](ByteSpan bytes, Sink& sink) {
    out->resize(brix::LoadLe32(&bytes[bytes.size() - 4]));
    size_t size = 0;
    const auto result =
        libdeflate_gzip_decompress(d, bytes.data(), bytes.size(), out->data(), out->size(), &size);
    sink.Member(out->data(), size);
    return result == LIBDEFLATE_SUCCESS;
  };
}
#else
bool WalkZipWithLibdeflate(ByteSpan, Sink&) { return false; }
std::function<bool(ByteSpan, Sink&)> WalkGzipWithLibdeflate() {
  return [](ByteSpan, Sink&) { return false; };
}
#endif

// --- The limit ---

Contender Memcpy(const Data& data, const std::string& name) {
  const auto from = std::make_shared<const Bytes>(data.Read(name));
  const auto to = std::make_shared<Bytes>(size_t{64} << 10);
  const auto work = [=](Sink&) {
    for (size_t at = 0; at < from->size(); at += to->size()) {
      std::memcpy(to->data(), from->data() + at, std::min(to->size(), from->size() - at));
      asm volatile("" : : "r"(to->data()) : "memory");  // each copy is really made
    }
    return !from->empty();
  };
  return {"memcpy", work, [from, expected = data.Expected(name)]() -> std::optional<uint64_t> {
            return !from->empty() && expected ? std::optional(expected->bytes)
                                              : std::nullopt;  // what the others deliver
          }};
}

}  // namespace bench
