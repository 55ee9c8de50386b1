// Frames as values of Redis: hiredis against redis-server.
#include "bench/across/Rivals.h"

#include <array>
#include <stdexcept>

#include <hiredis/hiredis.h>

namespace bench {

namespace {

struct ContextRelease {
    void operator()(redisContext* context) const { redisFree(context); }
};

struct ReplyRelease {
    void operator()(redisReply* reply) const { freeReplyObject(reply); }
};

class RedisRival : public Rival {
public:
    RedisRival(const std::filesystem::path& folder, std::uint16_t port)
        : server_(Process::executing({LANTRIX_BENCH_REDIS, "--bind", "127.0.0.1", "--port",
                                      std::to_string(port), "--save", "", "--appendonly", "no",
                                      "--dir", folder})),
          port_(port) {
        awaitListener(port);
        context_.reset(redisConnect("127.0.0.1", port));
    }

    pid_t process() const override { return server_.id(); }
    std::uint16_t port() const override { return port_; }
    std::string pythonModule() const override { return "redis"; }
    std::string name(bool reads) const override { return reads ? "Redis GET" : "Redis SET"; }

    void read(std::size_t size, int count) override {
        const std::string key = std::to_string(size);
        for (int i = 0; i < count; ++i) {
            // The frame is used where it arrived: the reply is the application's.
            if (call<2>({"GET", key.c_str()}, {3, key.size()})->len != size)
                throw std::runtime_error("Redis does not know the frame");
        }
    }

    void write(std::size_t size, int count) override {
        const std::string key = std::to_string(size);
        for (int i = 0; i < count; ++i)
            call<3>({"SET", key.c_str(), frameBuffer()}, {3, key.size(), size});
    }

private:
    using Reply = std::unique_ptr<redisReply, ReplyRelease>;

    template <std::size_t Count>
    Reply call(std::array<const char*, Count> words, std::array<std::size_t, Count> lengths) {
        Reply reply(static_cast<redisReply*>(redisCommandArgv(
            context_.get(), static_cast<int>(Count), words.data(), lengths.data())));
        if (reply == nullptr || reply->type == REDIS_REPLY_ERROR)
            throw std::runtime_error(std::string("Redis: ") +
                                     (reply != nullptr ? reply->str : context_->errstr));
        return reply;
    }

    Process server_;
    std::uint16_t port_;
    std::unique_ptr<redisContext, ContextRelease> context_;
};

} // namespace

std::unique_ptr<Rival> redisRival(const std::filesystem::path& folder) {
    return std::make_unique<RedisRival>(folder, freePort());
}

} // namespace bench
