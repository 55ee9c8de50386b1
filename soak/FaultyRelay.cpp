#include "soak/FaultyRelay.h"

#include "devserver/DevServer.h"

#include <array>
#include <utility>
#include <vector>

using asio::ip::tcp;

namespace {

tcp::endpoint endpointOf(const asio::ip::address& address, FaultyRelay::Channel channel) {
    return {address, channel == FaultyRelay::Channel::Command ? DevServer::commandPort
                                                              : DevServer::framePort};
}

} // namespace

// One client's connection and the connection to the server that was made for it. Kept alive by the
// operations under way; ends when either side does.
class FaultyRelay::Session : public std::enable_shared_from_this<Session> {
public:
    Session(FaultyRelay& relay, Channel channel, tcp::socket client)
        : relay_(relay), channel_(channel), client_(std::move(client)),
          server_(client_.get_executor()) {}

    void start();
    void release(std::promise<void> released);

private:
    struct Lane {
        tcp::socket& from;
        tcp::socket& to;
        std::array<char, 65536> buffer;
    };

    Lane& lane(Side side) { return side == Side::Request ? request_ : reply_; }
    void pump(Side side);
    void received(Side side, std::size_t size);
    void forward(Side side, std::size_t size, std::optional<Cut> cut);
    void breakOff(Side side, std::size_t size, const Cut& cut);
    void deliverHeld();
    void close();

    FaultyRelay& relay_;
    const Channel channel_;
    tcp::socket client_;
    tcp::socket server_;
    Lane request_{client_, server_, {}};
    Lane reply_{server_, client_, {}};
    std::optional<std::string> held_;            // the rest of a reply while it is stalled
    std::optional<std::promise<void>> released_; // waits for the rest
};

void FaultyRelay::Session::start() {
    server_.async_connect(endpointOf(relay_.server_, channel_),
                          [self = shared_from_this()](const std::error_code& error) {
                              if (error)
                                  return self->close();
                              self->client_.set_option(tcp::no_delay(true));
                              self->server_.set_option(tcp::no_delay(true));
                              self->pump(Side::Request);
                              self->pump(Side::Reply);
                          });
}

void FaultyRelay::Session::pump(Side side) {
    Lane& from = lane(side);
    from.from.async_read_some(
        asio::buffer(from.buffer),
        [self = shared_from_this(), side](const std::error_code& error, std::size_t size) {
            if (error)
                return self->close();
            self->received(side, size);
        });
}

void FaultyRelay::Session::received(Side side, std::size_t size) {
    if (side == Side::Request || !held_)
        return forward(side, size, relay_.cutOf(channel_, side, size));
    held_->append(reply_.buffer.data(), size);
    deliverHeld();
    pump(side);
}

void FaultyRelay::Session::forward(Side side, std::size_t size, std::optional<Cut> cut) {
    Lane& to = lane(side);
    const std::size_t passed = cut ? cut->offset : size;
    relay_.bytes_ += passed;
    asio::async_write(
        to.to, asio::buffer(to.buffer.data(), passed),
        [self = shared_from_this(), side, size, cut](const std::error_code& error, std::size_t) {
            if (error)
                return self->close();
            if (cut)
                return self->breakOff(side, size, *cut);
            self->pump(side);
        });
}

// Whoever is told that the plan has been carried out may release the stall at once.
void FaultyRelay::Session::breakOff(Side side, std::size_t size, const Cut& cut) {
    if (cut.fault == Fault::Stall) {
        relay_.stalled_ = weak_from_this();
        if (side == Side::Reply)
            held_.emplace(reply_.buffer.data() + cut.offset, size - cut.offset);
        relay_.fired_ = true;
        return side == Side::Reply ? pump(side) : void();
    }
    relay_.fired_ = true;
    std::error_code ignored;
    if (cut.fault == Fault::Reset)
        client_.set_option(asio::socket_base::linger(true, 0), ignored);
    close();
}

void FaultyRelay::Session::release(std::promise<void> released) {
    if (channel_ == Channel::Frame || !held_ || !client_.is_open()) {
        close();
        return released.set_value();
    }
    released_ = std::move(released);
    deliverHeld();
}

// A reply is one line: when its line feed is there, all of it is.
void FaultyRelay::Session::deliverHeld() {
    if (!released_ || held_->empty() || held_->back() != '\n')
        return;
    std::error_code ignored;
    relay_.bytes_ += asio::write(client_, asio::buffer(*held_), ignored);
    held_.reset();
    released_->set_value();
    released_.reset();
}

void FaultyRelay::Session::close() {
    std::error_code ignored;
    client_.close(ignored);
    server_.close(ignored);
    if (released_)
        released_->set_value();
    released_.reset();
}

FaultyRelay::FaultyRelay(asio::io_context& context, const std::string& address,
                         const std::string& server)
    : context_(context), server_(asio::ip::make_address(server)),
      commands_(context, endpointOf(asio::ip::make_address(address), Channel::Command)),
      frames_(context, endpointOf(asio::ip::make_address(address), Channel::Frame)) {
    accept(Channel::Command);
    accept(Channel::Frame);
}

void FaultyRelay::accept(Channel channel) {
    tcp::acceptor& acceptor = channel == Channel::Command ? commands_ : frames_;
    acceptor.async_accept([this, channel](const std::error_code& error, tcp::socket client) {
        if (error)
            return;
        ++connections_;
        std::make_shared<Session>(*this, channel, std::move(client))->start();
        accept(channel);
    });
}

void FaultyRelay::arm(const Plan& plan) {
    const std::lock_guard<std::mutex> lock(mutex_);
    plan_ = plan;
    fired_ = false;
}

bool FaultyRelay::disarm() {
    const std::lock_guard<std::mutex> lock(mutex_);
    plan_.reset();
    return fired_.exchange(false);
}

void FaultyRelay::release() {
    std::promise<void> released;
    std::future<void> done = released.get_future();
    asio::post(context_, [this, &released] {
        if (const std::shared_ptr<Session> session = stalled_.lock())
            session->release(std::move(released));
        else
            released.set_value();
        stalled_.reset();
    });
    done.wait();
}

std::optional<FaultyRelay::Cut> FaultyRelay::cutOf(Channel channel, Side side, std::size_t size) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!plan_ || plan_->channel != channel || plan_->side != side)
        return std::nullopt;
    if (plan_->offset >= size) {
        plan_->offset -= size;
        return std::nullopt;
    }
    const Cut cut{plan_->fault, plan_->offset};
    plan_.reset();
    return cut;
}
