// A trace's framing: the Trace message's field 1, a packet, over and over.

#include "perfetto/TraceFile.h"

#include "outcome/Error.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace zsl::perfetto {

namespace {

constexpr uint8_t kPacketTag = (1 << 3) | 2; // Trace.packet: field 1, length-delimited
// A packet larger than this is a damaged length, not a packet: the tracing
// service writes packets of a few hundred KiB at most.
constexpr uint64_t kLargestPacket = uint64_t(256) << 20;

// A varint at `at` in `bytes`; nullopt when cut or longer than ten bytes.
std::optional<uint64_t> varint(std::string_view bytes, size_t &at)
{
    uint64_t value = 0;
    for (int shift = 0; shift < 70 && at < bytes.size(); shift += 7) {
        const auto byte = static_cast<uint8_t>(bytes[at++]);
        value |= static_cast<uint64_t>(byte & 0x7f) << shift;
        if (!(byte & 0x80))
            return value;
    }
    return std::nullopt;
}

// Reads from `read` until `size` bytes or the end; the count read.
size_t readFully(const TraceBytes &read, char *buffer, size_t size, const std::string &what)
{
    size_t got = 0;
    while (got < size) {
        const long more = read(buffer + got, size - got);
        if (more < 0)
            throw outcome::Error("cannot read " + what + ": " + std::strerror(errno));
        if (more == 0)
            break;
        got += static_cast<size_t>(more);
    }
    return got;
}

} // namespace

bool binaryByte(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r' && byte != '\f' && byte != 0x1b;
}

bool looksLikeTrace(std::string_view head)
{
    if (head.empty() || static_cast<uint8_t>(head[0]) != kPacketTag ||
        std::none_of(head.begin(), head.end(), binaryByte))
        return false;
    size_t at = 1;
    const std::optional<uint64_t> length = varint(head, at);
    if (!length || *length > kLargestPacket)
        return false;
    const std::string_view packetBytes = head.substr(at, static_cast<size_t>(*length));
    ::perfetto::protos::TracePacket packet;
    // A packet whole in the head must parse; one the head cuts is judged by
    // the fields it holds before the cut.
    if (packetBytes.size() == *length &&
        !packet.ParseFromArray(packetBytes.data(), static_cast<int>(packetBytes.size())))
        return false;
    if (packetBytes.size() < *length)
        packet.ParsePartialFromArray(packetBytes.data(), static_cast<int>(packetBytes.size()));
    return packet.ByteSizeLong() > 0; // a field a packet has, not only unknown ones
}

void forEachPacket(const TraceBytes &read, const std::string &what,
                   const std::function<void(const ::perfetto::protos::TracePacket &)> &packet)
{
    std::string buffer;
    ::perfetto::protos::TracePacket parsed;
    uint64_t offset = 0, count = 0;
    for (;;) {
        // The field's tag and length: at most 1 + 10 bytes, read a byte at a time.
        char tag;
        if (readFully(read, &tag, 1, what) == 0)
            return;
        const uint64_t start = offset++;
        if (static_cast<uint8_t>(tag) != kPacketTag)
            throw outcome::Error(what + ": damaged Perfetto trace: byte " + std::to_string(start) +
                                 " starts no packet (after " + std::to_string(count) + " packets)");
        uint64_t length = 0;
        for (int shift = 0;; shift += 7) {
            char byte;
            if (readFully(read, &byte, 1, what) == 0)
                throw outcome::Error(what + ": the Perfetto trace is cut short inside packet " +
                                     std::to_string(count + 1) + " (byte " + std::to_string(start) + ")");
            ++offset;
            length |= static_cast<uint64_t>(static_cast<uint8_t>(byte) & 0x7f) << shift;
            if (!(static_cast<uint8_t>(byte) & 0x80))
                break;
            if (shift >= 63)
                throw outcome::Error(what + ": damaged Perfetto trace: the length of packet " +
                                     std::to_string(count + 1) + " (byte " + std::to_string(start) +
                                     ") is not a number");
        }
        if (length > kLargestPacket)
            throw outcome::Error(what + ": damaged Perfetto trace: packet " + std::to_string(count + 1) + " (byte " +
                                 std::to_string(start) + ") claims " + std::to_string(length) + " bytes");
        buffer.resize(static_cast<size_t>(length));
        if (readFully(read, buffer.data(), buffer.size(), what) < buffer.size())
            throw outcome::Error(what + ": the Perfetto trace is cut short inside packet " + std::to_string(count + 1) +
                                 " (byte " + std::to_string(start) + ")");
        offset += length;
        ++count;
        if (!parsed.ParseFromString(buffer))
            throw outcome::Error(what + ": damaged Perfetto trace: packet " + std::to_string(count) + " (byte " +
                                 std::to_string(start) + ") is not a trace packet");
        packet(parsed);
    }
}

void writePacket(std::ostream &out, const ::perfetto::protos::TracePacket &packet)
{
    const std::string bytes = packet.SerializeAsString();
    std::string frame(1, static_cast<char>(kPacketTag));
    for (uint64_t length = bytes.size();; length >>= 7) {
        if (length < 0x80) {
            frame += static_cast<char>(length);
            break;
        }
        frame += static_cast<char>((length & 0x7f) | 0x80);
    }
    out << frame << bytes;
}

} // namespace zsl::perfetto
