// Fuzz target: the scan-results primitives read from arbitrary bytes. The input
// describes itself: a Word selects the next primitive (Integer, Boolean, Word,
// string, string list, Integer list), then that primitive's bytes follow.
// Reading may fail with vt::Exception, never crash. Every primitive read whole
// is written back; the written form must take exactly the bytes the read
// consumed (a Boolean stays one byte, a negative string count four), and
// reading and writing it again must give the same bytes.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "model/StreamWrapper.h"
#include "runtime/Exception.h"
#include "runtime/Stream.h"

namespace {

// Copies each primitive it reads from `in` to `out`; returns the number of
// bytes of `in` taken by the primitives read whole.
std::int64_t Copy(vt::MemoryStream& in, vt::MemoryStream& out) {
    vt::TStreamWrapper reader(in);
    vt::TStreamWrapper writer(out);
    // Lists are read into the same targets each time, so both the refill of
    // an existing list and the creation of a new one are exercised.
    std::unique_ptr<vt::StringList> strings;
    std::unique_ptr<std::vector<std::int32_t>> integers;
    // Input and output positions after the last primitive copied whole.
    std::int64_t whole = 0;
    std::int64_t written = 0;
    try {
        while (in.Position() < in.Size()) {
            const std::uint16_t op = reader.ReadWord();
            writer.Write(op);
            switch (op % 6) {
                case 0: writer.Write(reader.ReadInteger()); break;
                case 1: writer.Write(reader.ReadBoolean()); break;
                case 2: writer.Write(reader.ReadWord()); break;
                case 3: writer.Write(reader.ReadString()); break;
                case 4: reader.Read(strings), writer.Write(strings.get()); break;
                default: reader.Read(integers), writer.Write(integers.get()); break;
            }
            whole = in.Position();
            written = out.Position();
        }
    } catch (const vt::Exception&) {
        // The primitive being read was cut short: what was written of it goes.
        out.SetSize(written);
    }
    return whole;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vt::MemoryStream input(data, size);
    vt::MemoryStream first;
    const std::int64_t consumed = Copy(input, first);
    if (first.Size() != consumed) std::abort();

    vt::MemoryStream again(first.Bytes());
    again.SetPosition(0);
    vt::MemoryStream second;
    if (Copy(again, second) != first.Size() || second.Bytes() != first.Bytes()) std::abort();
    return 0;
}
