#include "wire/frame_trace.h"

#include <cstdio>

#include "wire/fields.h"
#include "wire/frame_kinds.h"

namespace nq {
namespace {

void appendPrintable(std::string& out, std::string_view gbkText) {
    for (char c : gbk::toUtf8(gbkText)) {
        const auto u = static_cast<unsigned char>(c);
        if (u < 0x20 || u == 0x7F) {
            char esc[8];
            std::snprintf(esc, sizeof esc, "\\x%02X", u);
            out += esc;
        } else {
            out.push_back(c);
        }
    }
}

}  // namespace

std::string describeFrame(std::string_view direction, std::string_view channel, const Frame& f) {
    char head[160];
    std::snprintf(head, sizeof head, "%.*s %.*s seq=%u (%u,%u) code=%u session=%u len=%u",
                  static_cast<int>(direction.size()), direction.data(), static_cast<int>(channel.size()),
                  channel.data(), f.header.seq, f.header.type, f.header.sub, f.header.code, f.header.session,
                  f.len);
    std::string out = head;
    if (auto name = frameKindName({f.header.type, f.header.sub})) {
        out += ' ';
        out += *name;
    }
    FieldReader reader(f.body);
    while (auto field = reader.next()) {
        out += " | ";
        appendPrintable(out, *field);
    }
    if (!reader.rest().empty()) {
        out += " | ";
        appendPrintable(out, reader.rest());
        out += "…";
    }
    return out;
}

std::string describeDatagram(std::string_view direction, std::string_view channel, std::string_view data) {
    std::string out;
    while (!data.empty()) {
        auto f = decodeFrame(data);
        if (!f) {
            char junk[64];
            std::snprintf(junk, sizeof junk, "%.*s junk (%zu bytes that are no frame)",
                          static_cast<int>(direction.size()), direction.data(), data.size());
            if (!out.empty()) out += '\n';
            out += std::string(channel) + ": " + junk;
            break;
        }
        if (!out.empty()) out += '\n';
        out += describeFrame(direction, channel, *f);
        data.remove_prefix(f->len);
    }
    return out;
}

}  // namespace nq
