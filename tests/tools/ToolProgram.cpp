#include "tests/tools/ToolProgram.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <numeric>
#include <random>
#include <set>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

ToolProgram::ToolProgram(const std::string& host, const std::string& folder, const Words& words,
                         rlim_t largestFile)
    : output_(std::tmpfile(), std::fclose) {
    int pipe[2];
    EXPECT_EQ(0, ::pipe2(pipe, O_CLOEXEC));
    std::vector<char*> arguments{const_cast<char*>("lantrix")};
    for (const std::string& word : words)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    ::setenv("LANTRIX_HOST", host.c_str(), 1);
    process_ = ::fork();
    if (process_ == 0) { // only what is safe behind the fork of a process with threads
        const rlimit limit{largestFile, largestFile};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        ::signal(SIGINT, SIG_DFL); // a suite in a shell's background ignores it
        ::dup2(::open("/dev/null", O_RDONLY), STDIN_FILENO);
        ::dup2(::fileno(output_.get()), STDOUT_FILENO);
        ::dup2(pipe[1], STDERR_FILENO);
        for (int other = STDERR_FILENO + 1; other < 4096; ++other)
            ::close(other); // or the server's listeners would outlive it
        if (::chdir(folder.c_str()) == 0)
            ::execv(LANTRIX_PATH, arguments.data());
        ::_exit(127);
    }
    ::close(pipe[1]);
    errors_ = pipe[0];
}

ToolProgram::~ToolProgram() {
    if (process_ > 0) {
        signal(SIGKILL);
        finish();
    }
}

bool ToolProgram::awaitError(const std::string& text) {
    while (received_.find(text) == std::string::npos) {
        char bytes[4096];
        const ssize_t size = ::read(errors_, bytes, sizeof bytes);
        if (size <= 0)
            return false;
        received_.append(bytes, static_cast<std::size_t>(size));
    }
    return true;
}

ToolResult ToolProgram::finish() {
    while (awaitError(received_ + "\n")) {
    }
    int status = 0;
    ::waitpid(std::exchange(process_, -1), &status, 0);
    ::close(errors_);
    ToolResult result{WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), "",
                      received_};
    std::rewind(output_.get());
    for (int c; (c = std::fgetc(output_.get())) != EOF;)
        result.output += static_cast<char>(c);
    return result;
}

ToolTest::ToolTest()
    : host_("127.90." + std::to_string(::getpid() / 250 % 250) + "." +
            std::to_string(::getpid() % 250 + 1)),
      folder_(scratch_ / "a folder") {
    std::filesystem::create_directories(folder_);
    serve();
}

ToolTest::~ToolTest() {
    server_.reset(); // before its directory goes
}

void ToolTest::serve(int minor) {
    server_.reset();
    DevServerOptions options;
    options.root = scratch_ / "a server";
    options.listen = host_;
    options.protocolMinor = minor;
    options.sync = DevSync::None; // no test cuts the power
    options.verbose = true;
    options.log = [this](const std::string& line) {
        connected_ += line.find("Connected: ") != std::string::npos ? 1 : 0;
    };
    server_ = std::make_unique<DevServer>(options);
}

ToolResult ToolTest::run(const Words& words, rlim_t largestFile) const {
    return ToolProgram(host_, folder_, words, largestFile).finish();
}

std::string ToolTest::output(const Words& words) const {
    const ToolResult result = run(words);
    EXPECT_EQ(0, result.status) << ::testing::PrintToString(words) << result.errors;
    return result.output;
}

nlohmann::json ToolTest::json(const Words& words) const {
    return nlohmann::json::parse(output(Words{"--json"} + words));
}

void ToolTest::fails(int status, const Words& words, const Words& texts, rlim_t largestFile) const {
    const ToolResult result = run(words, largestFile);
    SCOPED_TRACE(::testing::PrintToString(words) + "\n" + result.errors);
    EXPECT_EQ(status, result.status);
    EXPECT_EQ("", result.output);
    for (const std::string& text : texts)
        EXPECT_NE(std::string::npos, result.errors.find(text)) << text;
}

void ToolTest::makeClip(const std::string& name, const Words& format, std::size_t size,
                        int count) const {
    for (int i = 0; i < count; ++i)
        write(name + "." + std::to_string(i), noise(size, static_cast<unsigned>(i)));
    output(Words{"put", "--raw", name + ".#", "/" + name, "--format"} + format);
}

std::string ToolTest::read(const std::string& name) const {
    std::ifstream file(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void ToolTest::write(const std::string& name, const std::string& bytes) const {
    std::ofstream(path(name), std::ios::binary) << bytes;
}

std::string ToolTest::files(const std::string& folder) const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path(folder)))
        names.insert(entry.path().filename().string() + " ");
    return std::accumulate(names.begin(), names.end(), std::string());
}

std::string noise(std::size_t size, unsigned seed) {
    std::minstd_rand random(seed + 1);
    std::string bytes(size, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random() >> 8U);
    return bytes;
}
