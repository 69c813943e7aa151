#include "formats/microsoft/chm/chm_detect.h"

#include <array>

#include "core/field_reader.h"

namespace brix::chm {

namespace {
constexpr std::array<uint8_t, 8> kMagic = {'I', 'T', 'S', 'F', 3, 0, 0, 0};
}

bool DetectChm(Stream& in, uint32_t, const FormatTable&) { return FieldReader(in, 0).Is(0, kMagic); }

}  // namespace brix::chm
