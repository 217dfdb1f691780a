#include "model/record.h"

#include <bit>
#include <cassert>
#include <cstring>

#include "model/numbers.h"

namespace quelvari {

std::uint8_t ComponentRecord::u8(std::size_t off) const {
    assert(off < rec::kRecordSize);
    return bytes[off];
}

std::uint16_t ComponentRecord::u16(std::size_t off) const {
    assert(off + 2 <= rec::kRecordSize);
    return GetLe16(&bytes[off]);
}

std::int16_t ComponentRecord::i16(std::size_t off) const {
    return static_cast<std::int16_t>(u16(off));
}

std::uint32_t ComponentRecord::u32(std::size_t off) const {
    assert(off + 4 <= rec::kRecordSize);
    return GetLe32(&bytes[off]);
}

float ComponentRecord::f32(std::size_t off) const {
    return std::bit_cast<float>(u32(off));
}

void ComponentRecord::setU8(std::size_t off, std::uint8_t v) {
    assert(off < rec::kRecordSize);
    bytes[off] = v;
}

void ComponentRecord::setU16(std::size_t off, std::uint16_t v) {
    assert(off + 2 <= rec::kRecordSize);
    PutLe16(&bytes[off], v);
}

void ComponentRecord::setI16(std::size_t off, std::int16_t v) {
    setU16(off, static_cast<std::uint16_t>(v));
}

void ComponentRecord::setU32(std::size_t off, std::uint32_t v) {
    assert(off + 4 <= rec::kRecordSize);
    PutLe32(&bytes[off], v);
}

void ComponentRecord::setF32(std::size_t off, float v) {
    setU32(off, std::bit_cast<std::uint32_t>(v));
}

std::string ComponentRecord::text(std::size_t off, std::size_t maxBytes) const {
    std::string out;
    for (std::size_t i = off; i < rec::kRecordSize && i < off + maxBytes && bytes[i] != 0; ++i)
        out.push_back(static_cast<char>(bytes[i]));
    return out;
}

void ComponentRecord::setText(std::size_t off, std::string_view text) {
    std::size_t i = off;
    for (char c : text) {
        if (i >= rec::kRecordSize)
            return;
        bytes[i++] = static_cast<std::uint8_t>(c);
    }
    if (i < rec::kRecordSize)
        bytes[i] = 0;
}

void storeInputCondition(ComponentRecord& r, std::string_view text) {
    r.setText(rec::kInputCondition, text);
}

void storeBranchCondition(ComponentRecord& r, std::string_view text) {
    r.setText(rec::kBranchCondition, text);
}

void storeComment(ComponentRecord& r, std::string_view text) {
    r.setText(rec::kComment, text.substr(0, rec::kCommentSize - 1));
}

void trimRight(std::string& text) {
    while (!text.empty() && text.back() == ' ')
        text.pop_back();
}

std::string stripFileName(std::string& path) {
    const auto pos = path.find_last_of("\\/");
    if (pos == std::string::npos)
        return path;
    std::string name = path.substr(pos + 1);
    path.resize(pos);
    return name;
}

bool StepReference(const ComponentRecord& r, int& step) {
    switch (r.typeCode()) {
        case 'G':
            if (r.u8(89) != 0)
                return false;
            step = r.u16(92);
            return true;
        case 'P':
            if (r.u8(90) != 0)
                return false;
            step = r.u16(94);
            return true;
        case 'T':
            if (r.u8(152) != 0)
                return false;
            step = r.i16(154);
            return true;
        default:
            return false;
    }
}

}  // namespace quelvari
