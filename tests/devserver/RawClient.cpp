#include "tests/devserver/RawClient.h"

#include <asio/buffer.hpp>
#include <asio/read.hpp>
#include <asio/read_until.hpp>
#include <asio/write.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>

std::string contentsOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

void writeFile(const std::string& path, const std::string& contents) {
    std::ofstream(path, std::ios::binary) << contents;
}

RawClient::RawClient(const std::string& address, unsigned short port) {
    std::error_code error;
    socket_.connect({asio::ip::make_address(address), port}, error);
    EXPECT_FALSE(error) << error.message();
}

bool RawClient::send(const std::string& bytes) {
    std::error_code error;
    asio::write(socket_, asio::buffer(bytes), error);
    return !error;
}

std::string RawClient::receiveUntil(char end) {
    std::error_code ignored;
    const std::size_t size =
        asio::read_until(socket_, asio::dynamic_buffer(received_), end, ignored);
    const std::string text = take(size);
    return text.substr(0, text.find(end));
}

std::string RawClient::receive(std::size_t size) {
    std::error_code ignored;
    if (received_.size() < size)
        asio::read(socket_, asio::dynamic_buffer(received_),
                   asio::transfer_exactly(size - received_.size()), ignored);
    return take(std::min(size, received_.size()));
}

std::string RawClient::take(std::size_t size) {
    std::string bytes = received_.substr(0, size);
    received_.erase(0, size);
    return bytes;
}

bool RawClient::isClosed() {
    return receive(1).empty();
}

void RawClient::close(bool abortive) {
    std::error_code ignored;
    socket_.set_option(asio::socket_base::linger(abortive, 0), ignored);
    socket_.close(ignored);
}

std::string CommandClient::operator()(const std::string& methodAndArguments) {
    send("sync 0 " + methodAndArguments + "\n");
    return receiveUntil('\n');
}

std::string CommandClient::value(const std::string& methodAndArguments) {
    const std::string reply = (*this)(methodAndArguments);
    EXPECT_EQ("ok ", reply.substr(0, 3)) << methodAndArguments << " -> " << reply;
    return reply.substr(std::min<std::size_t>(3, reply.size()));
}

std::string FrameClient::write(const std::string& frameId, const std::string& bytes) {
    send(frameRequest("WriteFrame", frameId, std::to_string(bytes.size())) + bytes);
    return receiveUntil('\0');
}

std::string FrameClient::read(const std::string& frameId, std::size_t size) {
    send(frameRequest("ReadFrame", frameId, std::to_string(size)));
    std::string status = receiveUntil('\0');
    payload = status.empty() ? receive(size) : "";
    return status;
}

std::string frameRequest(const std::string& name, const std::string& frameId,
                         const std::string& size) {
    return name + '\0' + frameId + '\0' + size + '\0';
}
