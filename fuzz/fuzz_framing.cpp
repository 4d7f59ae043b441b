// The receive buffer fed the unit's byte stream in chunks of random sizes, as
// the link thread delivers it: it must cut lines and system-exclusive messages
// without hanging, keep its bound, and hand on only non-empty, trimmed lines.
#include "FuzzSupport.h"

#include "protocol/MsgClass.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzsupport::quietProcess();
    fuzzsupport::Chunker chunker(data, size);
    MsgClass stream;
    std::size_t pos = 0;
    while (pos < size) {
        // Mostly short chunks, now and then one as large as a serial read.
        const std::size_t maxChunk = chunker.next(8) == 1 ? 4096 : 64;
        const std::size_t n = std::min(size - pos, chunker.next(maxChunk));
        MsgClass chunk;
        chunk.txBytes(reinterpret_cast<const char*>(data + pos), int(n));
        pos += n;
        for (const QString& message : stream.drain(chunk)) {
            fuzzsupport::check(!message.isEmpty(), "empty message handed on");
            if (message.endsWith(QLatin1Char('\n')))
                continue; // a system-exclusive message, newline appended
            fuzzsupport::check(!message.startsWith(QLatin1Char('>')) &&
                                   !message.endsWith(QLatin1Char('\r')) &&
                                   !message.endsWith(QLatin1Char('>')),
                               "line edges not trimmed");
        }
        fuzzsupport::check(stream.buffer().size() <= MsgClass::kMaxHeldBytes,
                           "receive buffer over its bound");
    }
    return 0;
}
