// The plain frame codec and the trace line built from it, over arbitrary datagrams.

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "wire/frame_trace.h"
#include "wire/packet.h"

namespace {

void check(bool ok) {
    if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);

    if (const auto f = nq::decodeFrame(bytes)) {
        check(f->len >= nq::kHeaderSize && f->len <= size);
        check(f->body.data() == bytes.data() + nq::kHeaderSize);
        check(f->body.size() == static_cast<size_t>(f->len - nq::kHeaderSize));

        // What the server sends back of a decoded frame decodes to the same frame.
        const nq::Bytes again = nq::encodeFrame(f->header, f->body);
        const auto g = nq::decodeFrame(again);
        check(g.has_value());
        check(g->len == f->len && g->body == f->body);
        check(g->header.seq == f->header.seq && g->header.type == f->header.type &&
              g->header.sub == f->header.sub && g->header.session == f->header.session &&
              g->header.code == f->header.code);
        check(!nq::describeFrame("in", "udp", *f).empty());
    }

    const std::string line = nq::describeDatagram("in", "udp", bytes);
    check(size == 0 || !line.empty());
    return 0;
}
