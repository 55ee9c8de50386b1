#include "tools/session/PacketCapture.h"

#include "tools/report/Failure.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

#include <arpa/inet.h>

namespace tool {

namespace {

constexpr std::uint32_t rawIpPackets = 101; // the file's packets begin with their IP header
constexpr std::size_t ipHeader = 20;
constexpr std::size_t tcpHeader = 20;
constexpr std::size_t headers = ipHeader + tcpHeader;
constexpr std::size_t largestPacket = 65535;

enum Flag : std::uint8_t { Fin = 0x01, Syn = 0x02, Push = 0x08, Ack = 0x10 };

// Network order.
void put16(std::vector<char>& packet, std::size_t at, std::uint32_t value) {
    packet[at] = static_cast<char>(value >> 8 & 0xff);
    packet[at + 1] = static_cast<char>(value & 0xff);
}
void put32(std::vector<char>& packet, std::size_t at, std::uint32_t value) {
    put16(packet, at, value >> 16);
    put16(packet, at + 2, value & 0xffff);
}

std::uint32_t addressOf(const sockaddr_in& end) {
    return ntohl(end.sin_addr.s_addr);
}

// The sum of 16-bit words that IP and TCP protect their bytes with, on top of \p sum.
std::uint32_t checksum(const char* bytes, std::size_t size, std::uint64_t sum = 0) {
    for (std::size_t i = 0; i < size; ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        sum += i % 2 == 0 ? std::uint32_t{byte} << 8 : std::uint32_t{byte};
    }
    while (sum >> 16 != 0)
        sum = (sum & 0xffff) + (sum >> 16);
    return static_cast<std::uint32_t>(~sum & 0xffff);
}

// What TCP's sum protects beside its own bytes.
std::uint64_t pseudoHeader(const sockaddr_in& from, const sockaddr_in& to, std::size_t tcpSize) {
    std::uint64_t sum = IPPROTO_TCP + tcpSize;
    for (const sockaddr_in* end : {&from, &to})
        sum += (addressOf(*end) >> 16) + (addressOf(*end) & 0xffff);
    return sum;
}

} // namespace

PacketCapture::PacketCapture(std::string file, Frames frames)
    : name_(std::move(file)), frames_(frames),
      file_(std::fopen(name_.c_str(), "wbe"), &std::fclose) {
    if (!file_)
        throw fileFailure("create the capture", name_, errno);
    // Magic number (times in nanoseconds), version 2.4, no offset of time zones, longest packet.
    const std::array<std::uint32_t, 6> header{0xa1b23c4d, 0x00040002, 0, 0, 262144, rawIpPackets};
    if (std::fwrite(header.data(), sizeof header, 1, file_.get()) != 1)
        error_ = errno;
}

void PacketCapture::write(const std::vector<char>& packet, std::size_t captured) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now);
    const auto rest = std::chrono::duration_cast<std::chrono::nanoseconds>(now - seconds);
    const std::array<std::uint32_t, 4> record{
        static_cast<std::uint32_t>(seconds.count()), static_cast<std::uint32_t>(rest.count()),
        static_cast<std::uint32_t>(captured), static_cast<std::uint32_t>(packet.size())};
    if (error_ == 0 && (std::fwrite(record.data(), sizeof record, 1, file_.get()) != 1 ||
                        std::fwrite(packet.data(), captured, 1, file_.get()) != 1))
        error_ = errno;
}

void PacketCapture::finish() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (error_ == 0 && std::fflush(file_.get()) != 0)
        error_ = errno;
    if (error_ != 0)
        throw fileFailure("write the capture", name_, error_);
}

CapturedConnection::CapturedConnection(PacketCapture& capture, const sockaddr_in& client,
                                       const sockaddr_in& server)
    : capture_(capture), ends_{client, server} {
    segment(Client, Syn, nullptr, 0, 0);
    segment(Server, Syn | Ack, nullptr, 0, 0);
    segment(Client, Ack, nullptr, 0, 0);
}

CapturedConnection::~CapturedConnection() {
    segment(Client, Fin | Ack, nullptr, 0, 0);
    segment(Server, Fin | Ack, nullptr, 0, 0);
    segment(Client, Ack, nullptr, 0, 0);
}

void CapturedConnection::send(Side sender, const char* bytes, std::size_t size,
                              const std::vector<ByteRange>& frames) {
    std::size_t done = 0;
    for (const ByteRange& frame : frames) {
        const std::size_t end = frame.begin + frame.size;
        sendPart(sender, bytes + done, end - done, frame.begin - done);
        done = end;
    }
    sendPart(sender, bytes + done, size - done, size - done);
}

void CapturedConnection::sendPart(Side sender, const char* bytes, std::size_t size,
                                  std::size_t shown) {
    // Readers pass over a segment of which nothing is there, so a byte of each is.
    static const char nothing = '\0';
    while (size > 0) {
        const std::size_t count = std::min(size, largestPacket - headers);
        const bool isKept = capture_.frames_ == PacketCapture::Frames::Kept;
        const std::size_t captured = isKept ? count : std::min(count, shown);
        segment(sender, Push | Ack, captured > 0 ? bytes : &nothing, count,
                std::max<std::size_t>(captured, 1));
        bytes += count;
        size -= count;
        shown -= std::min(count, shown);
    }
}

void CapturedConnection::segment(Side sender, std::uint8_t flags, const char* bytes,
                                 std::size_t size, std::size_t captured) {
    const Side receiver = sender == Client ? Server : Client;
    const sockaddr_in& from = ends_[sender];
    const sockaddr_in& to = ends_[receiver];
    std::vector<char> packet(headers + size);
    packet[0] = 0x45; // version 4, five words
    put16(packet, 2, static_cast<std::uint32_t>(packet.size()));
    packet[8] = 64; // hops that it may still make
    packet[9] = IPPROTO_TCP;
    put32(packet, 12, addressOf(from));
    put32(packet, 16, addressOf(to));
    put16(packet, 10, checksum(packet.data(), ipHeader));

    put16(packet, ipHeader, ntohs(from.sin_port));
    put16(packet, ipHeader + 2, ntohs(to.sin_port));
    put32(packet, ipHeader + 4, sequence_[sender]);
    put32(packet, ipHeader + 8, (flags & Ack) != 0 ? sequence_[receiver] : 0);
    packet[ipHeader + 12] = tcpHeader / 4 << 4;
    packet[ipHeader + 13] = static_cast<char>(flags);
    put16(packet, ipHeader + 14, 0xffff); // room for as much as there is
    if (captured > 0)
        std::memcpy(packet.data() + headers, bytes, captured);
    put16(packet, ipHeader + 16,
          checksum(packet.data() + ipHeader, packet.size() - ipHeader,
                   pseudoHeader(from, to, packet.size() - ipHeader)));
    sequence_[sender] += static_cast<std::uint32_t>(size) + ((flags & (Syn | Fin)) != 0 ? 1U : 0U);
    capture_.write(packet, headers + captured);
}

} // namespace tool
