// Frames as files of HTTP: libcurl against nginx.
#include "bench/across/Rivals.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include <curl/curl.h>

namespace bench {

namespace {

namespace fs = std::filesystem;

// One process that serves files and takes them; keeps connections open however much they carry.
const char* const configuration = R"(
daemon off;
master_process off;
error_log stderr crit;
pid nginx.pid;
events { worker_connections 64; }
http {
    access_log off;
    sendfile on;
    tcp_nopush on;
    keepalive_requests 100000000;
    client_max_body_size 0;
    client_body_buffer_size 1m;
    client_body_temp_path body;
    proxy_temp_path unused;
    fastcgi_temp_path unused;
    scgi_temp_path unused;
    uwsgi_temp_path unused;
    server {
        listen 127.0.0.1:PORT;
        location / {
            root files;
            dav_methods PUT;
        }
    }
}
)";

fs::path prepare(const fs::path& folder, std::uint16_t port) {
    fs::create_directories(folder / "files");
    std::string text = configuration;
    text.replace(text.find("PORT"), std::strlen("PORT"), std::to_string(port));
    std::ofstream(folder / "nginx.conf") << text;
    return folder / "nginx.conf";
}

class HttpRival : public Rival {
public:
    HttpRival(const fs::path& folder, std::uint16_t port)
        : server_(Process::executing(
              {LANTRIX_BENCH_NGINX, "-p", folder, "-e", "stderr", "-c", prepare(folder, port)})),
          port_(port), address_("http://127.0.0.1:" + std::to_string(port) + "/"),
          curl_(curl_easy_init()) {
        awaitListener(port);
        curl_easy_setopt(curl_, CURLOPT_BUFFERSIZE, static_cast<long>(CURL_MAX_READ_SIZE));
        curl_easy_setopt(curl_, CURLOPT_UPLOAD_BUFFERSIZE, 2L << 20);
        curl_easy_setopt(curl_, CURLOPT_FAILONERROR, 1L);
        curl_easy_setopt(curl_, CURLOPT_HTTPHEADER, headers_);
        curl_easy_setopt(curl_, CURLOPT_WRITEFUNCTION, &HttpRival::take);
        curl_easy_setopt(curl_, CURLOPT_WRITEDATA, this);
        curl_easy_setopt(curl_, CURLOPT_READFUNCTION, &HttpRival::give);
        curl_easy_setopt(curl_, CURLOPT_READDATA, this);
    }
    ~HttpRival() override {
        curl_easy_cleanup(curl_);
        curl_slist_free_all(headers_);
    }

    pid_t process() const override { return server_.id(); }
    std::uint16_t port() const override { return port_; }
    std::string pythonModule() const override { return "requests"; }
    std::string name(bool reads) const override { return reads ? "HTTP GET" : "HTTP PUT"; }

    void read(std::size_t size, int count) override {
        curl_easy_setopt(curl_, CURLOPT_HTTPGET, 1L);
        perform(size, count);
    }

    void write(std::size_t size, int count) override {
        curl_easy_setopt(curl_, CURLOPT_UPLOAD, 1L);
        curl_easy_setopt(curl_, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(size));
        perform(size, count);
    }

private:
    void perform(std::size_t size, int count) {
        const std::string url = address_ + std::to_string(size);
        curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
        for (int i = 0; i < count; ++i) {
            done_ = 0;
            left_ = size;
            const CURLcode code = curl_easy_perform(curl_);
            if (code != CURLE_OK)
                throw std::runtime_error(url + ": " + curl_easy_strerror(code));
        }
    }

    static std::size_t take(char* data, std::size_t, std::size_t size, void* self) {
        HttpRival& rival = *static_cast<HttpRival*>(self);
        const std::size_t taken = std::min(size, rival.left_); // of a "201 Created" nothing
        std::memcpy(frameBuffer() + rival.done_, data, taken);
        rival.advance(taken);
        return size;
    }

    static std::size_t give(char* data, std::size_t, std::size_t room, void* self) {
        HttpRival& rival = *static_cast<HttpRival*>(self);
        const std::size_t given = std::min(room, rival.left_);
        std::memcpy(data, frameBuffer() + rival.done_, given);
        rival.advance(given);
        return given;
    }

    void advance(std::size_t count) {
        done_ += count;
        left_ -= count;
    }

    Process server_;
    std::uint16_t port_;
    std::string address_;
    CURL* curl_;
    // Without it each upload waits for the server's permission.
    curl_slist* headers_ = curl_slist_append(nullptr, "Expect:");
    std::size_t done_ = 0; // bytes of the frame that is on its way
    std::size_t left_ = 0;
};

} // namespace

std::unique_ptr<Rival> httpRival(const fs::path& folder) {
    return std::make_unique<HttpRival>(folder / "http", freePort());
}

} // namespace bench
