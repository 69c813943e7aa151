// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// mail.cpp - mail beside GMime, and how the cost of a walk grows with the parts and the depth of a message.
//
// GMime parses a message from memory without a copy of it, its tree is walked, and each part that is no multipart and
// no message is decoded into a stream that hands the bytes to the sink.
#include <memory>

#include "contenders.h"

#ifdef BRIX_PEER_GMIME
#include <gmime/gmime.h>

#include <cstdlib>
#include <cstring>
#include <string_view>
#endif

namespace bench {

#ifdef BRIX_PEER_GMIME
namespace {

// --- A stream of GMime's kind that hands what is written to a sink ---

struct SinkStream {
  GMimeStream parent;
  Sink* sink;
};

struct SinkStreamClass {
  GMimeStreamClass parent;
};

ssize_t WriteToSink(GMimeStream* stream, const char* bytes, size_t size) {
  auto* const self = reinterpret_cast<SinkStream*>(stream);
  self->sink->Take(bytes, size);
  return static_cast<ssize_t>(size);
}

GType SinkStreamType() {
  static const GType type = [] {
    GTypeInfo info{};
    info.class_size = sizeof(SinkStreamClass);
    info.class_init = [](void* its_class, void*) {
      auto* const stream_class = static_cast<GMimeStreamClass*>(its_class);
      stream_class->write = WriteToSink;
      stream_class->flush = [](GMimeStream*) { return 0; };
      stream_class->close = [](GMimeStream*) { return 0; };
    };
    info.instance_size = sizeof(SinkStream);
    g_mime_init();
    return g_type_register_static(GMIME_TYPE_STREAM, "BenchSinkStream", &info, GTypeFlags{});
  }();
  return type;
}

struct Unref {
  void operator()(void* object) const { g_object_unref(object); }
};
template <class T>
using Owned = std::unique_ptr<T, Unref>;

// One level of the tree; enclosed messages and multiparts recurse, as their writers would do it.
bool DecodeParts(GMimeObject* part, GMimeStream* out, Sink& sink) {
  if (GMIME_IS_MULTIPART(part)) {
    auto* const multipart = reinterpret_cast<GMimeMultipart*>(part);
    for (int i = 0; i < g_mime_multipart_get_count(multipart); ++i) {
      if (!DecodeParts(g_mime_multipart_get_part(multipart, i), out, sink)) return false;
    }
    return true;
  }
  if (GMIME_IS_MESSAGE_PART(part)) {
    GMimeMessage* const enclosed = g_mime_message_part_get_message(reinterpret_cast<GMimeMessagePart*>(part));
    return enclosed != nullptr && DecodeParts(g_mime_message_get_mime_part(enclosed), out, sink);
  }
  if (!GMIME_IS_PART(part)) return false;
  GMimeDataWrapper* const content = g_mime_part_get_content(reinterpret_cast<GMimePart*>(part));
  if (content == nullptr || g_mime_data_wrapper_write_to_stream(content, out) < 0) return false;
  // We end the last line of quoted-printable text too.
  if (g_mime_data_wrapper_get_encoding(content) == GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE)
    sink.Take("\r\n", 2);
  sink.EndMember();
  return true;
}

}  // namespace

bool WalkMailWithGmime(ByteSpan message, Sink& sink) {
  bool ok = false;
  {
    const Owned<GMimeStream> out(static_cast<GMimeStream*>(g_object_new(SinkStreamType(), nullptr)));
    reinterpret_cast<SinkStream*>(out.get())->sink = &sink;
    g_mime_stream_construct(out.get(), 0, -1);
    GByteArray bytes{const_cast<guint8*>(message.data()), static_cast<guint>(message.size())};
    const Owned<GMimeStream> in(g_mime_stream_mem_new_with_byte_array(&bytes));
    g_mime_stream_mem_set_owner(reinterpret_cast<GMimeStreamMem*>(in.get()), FALSE);
    const Owned<GMimeParser> parser(g_mime_parser_new_with_stream(in.get()));
    const Owned<GMimeMessage> parsed(g_mime_parser_construct_message(parser.get(), nullptr));
    ok = parsed != nullptr && DecodeParts(g_mime_message_get_mime_part(parsed.get()), out.get(), sink);
  }
  // The C library puts the many small blocks freed above in order when a large one is asked for next: here, not at the
  // cost of the contender whose turn follows.
  void* volatile large = std::malloc(4096);
  std::free(large);
  return ok;
}

bool WalkBlocksWithGmime(ByteSpan message, Sink& sink) {
  constexpr std::string_view kBegin = "\nbegin ", kEnd = "\nend\n";
  constexpr size_t kPiece = 16384;
  const std::string_view text(reinterpret_cast<const char*>(message.data()), message.size());
  const auto find = [&](std::string_view what, size_t from) {
    const void* const found = memmem(text.data() + from, text.size() - from, what.data(), what.size());
    return found == nullptr ? text.npos : static_cast<size_t>(static_cast<const char*>(found) - text.data());
  };
  g_mime_init();
  Bytes out;
  for (size_t at = find(kBegin, 0); at != text.npos; at = find(kBegin, at)) {
    const size_t end = find(kEnd, at);
    if (end == text.npos) return false;
    GMimeEncoding encoding;
    g_mime_encoding_init_decode(&encoding, GMIME_CONTENT_ENCODING_UUENCODE);
    encoding.state = GMIME_UUDECODE_STATE_BEGIN;  // which follows a "begin" line
    for (at = text.find('\n', at + 1) + 1; at < end + kEnd.size();) {
      const size_t size = std::min(kPiece, end + kEnd.size() - at);
      out.resize(g_mime_encoding_outlen(&encoding, size));
      sink.Take(out.data(),
                g_mime_encoding_step(&encoding, text.data() + at, size, reinterpret_cast<char*>(out.data())));
      at += size;
    }
    at = end;
    sink.EndMember();
  }
  return true;
}
#else
bool WalkMailWithGmime(ByteSpan, Sink&) { return false; }
bool WalkBlocksWithGmime(ByteSpan, Sink&) { return false; }
#endif

// --- Growth ---

Area MailGrowth(const Data&) {
  Area area{"Mail of n, 2n and 4n parts and depths: time at twice the size", {}, {}, std::nullopt, 3};
  const struct {
    const char* what;
    uint32_t n;
    std::string (*piece)(const std::string& i);
  } kShapes[] = {
      {"parts", 50'000,
       [](const std::string& i) {
         return "--b\nContent-Type: a/b; name=" + i + "\nContent-Transfer-Encoding: base64\n\nSGVsbG8h\n";
       }},
      {"empty parts", 100'000, [](const std::string&) { return std::string("--b\n\n"); }},
      {"nested multiparts", 25'000,
       [](const std::string& i) {
         return "Content-Type: multipart/mixed; boundary=x" + i + "\n\n--x" + i + "\n\ntext\n--x" + i + "\n";
       }},
      {"nested messages", 25'000,
       [](const std::string&) { return std::string("Subject: x\nContent-Type: message/rfc822\n\n"); }},
  };
  for (const auto& shape : kShapes) {
    std::string before;
    for (uint32_t n = shape.n; n <= 4 * shape.n; n *= 2) {
      auto text =
          std::make_shared<std::string>("MIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n\n");
      for (uint32_t i = 0; i < n; ++i) *text += shape.piece(std::to_string(1'000'000 + i));
      const std::string name = std::to_string(n) + " " + shape.what;
      area.contenders.push_back({name, [text](Sink& sink) {
                                   const auto* bytes = reinterpret_cast<const uint8_t*>(text->data());
                                   return WalkWithBrix({bytes, text->size()}, Target::kStream, sink);
                                 }});
      if (!before.empty()) area.goals.push_back({Measure::kTime, name, before, 2.2, 2.05});
      before = name;
    }
  }
  return area;
}

}  // namespace bench
