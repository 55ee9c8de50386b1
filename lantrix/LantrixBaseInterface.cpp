#include "lantrix/LantrixBaseInterface.h"

#include "base/loggerBase/src/CoException.h"
#include "base/loggerBase/src/CoText.h"
#include "lantrix/LantrixGuard.h"
#include "lantrix/LantrixReplyText.h"
#include "lantrix/LantrixStored.h"
#include "rc/rcProtocol.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace {

const char* const source = "lantrix/LantrixBaseInterface";
constexpr int connectLine = 46, callLine = 52;

bool isEmpty(const char* text) {
    return *coTextOrEmpty(text) == '\0';
}

// Paths are not escaped: one that holds a double quote or a comma would arrive as something else.
std::string quotedList(const LantrixStr* paths, int count) {
    std::string list;
    for (int i = 0; paths != nullptr && i < count; ++i)
        rcProtocol::appendItem(list, '"' + std::string(paths[i]) + '"');
    return list;
}

} // namespace

LantrixClientConnection::LantrixClientConnection(const char* host, int port)
    : host_(coTextOrEmpty(host)), port_(port) {}

LantrixClientConnection::~LantrixClientConnection() = default;

void LantrixClientConnection::stop() {
    rcAPI::stop();
}

bool LantrixClientConnection::callMethod(const char* method, const std::string& args, bool sync,
                                         std::string& result) {
    if (!isReady() && !connect(host_.c_str(), port_))
        throw CoException(lastError(), connectLine, source);
    if (!call(0, method, args.c_str(), sync, result))
        throw CoException(result.c_str(), callLine, source);
    return true;
}

std::string LantrixClientConnection::request(const char* method, const std::string& args) {
    std::string reply;
    callMethod(method, args, /*sync=*/true, reply);
    return reply;
}

void LantrixClientConnection::checkStopped(const char* method) const {
    if (isStopped())
        throw CoException(stoppedText(method).c_str(), callLine, source);
}

LantrixBaseInterface::~LantrixBaseInterface() = default;

LantrixBaseClientAPI::LantrixBaseClientAPI(LantrixClientConnection& connection)
    : connection_(connection) {}

LantrixBaseClientAPI::~LantrixBaseClientAPI() = default;

bool LantrixBaseClientAPI::ping() {
    return lantrixGuarded(error_, [&] {
        connection_.request("Ping", "");
        return true;
    });
}

bool LantrixBaseClientAPI::queryVersion(int& major, int& minor) {
    return lantrixGuarded(error_, [&] {
        const std::string reply = connection_.request("QueryVersion", "");
        LantrixReplyReader reader(reply);
        reader.readInt(major);
        reader.readInt(minor);
        return true;
    });
}

bool LantrixBaseClientAPI::shutdown() {
    return lantrixGuarded(error_, [&] {
        connection_.request("Shutdown", "");
        return true;
    });
}

bool LantrixBaseClientAPI::translatePaths(const LantrixStr* srcPaths, LantrixStr* dstPaths,
                                          int count, const char* srcHost, const char* dstHost,
                                          LantrixOS::OsType srcOs, LantrixOS::OsType dstOs) {
    if (isEmpty(srcHost) || isEmpty(dstHost)) {
        coAssignText(error_, isEmpty(srcHost) ? "Invalid source host name given"
                                              : "Invalid destination host name given");
        return false;
    }
    return lantrixGuarded(error_, [&] {
        const std::string head =
            coFormatCut(1024, "\"%s\" %d \"%s\" %d ", srcHost, srcOs, dstHost, dstOs);
        const std::string reply =
            connection_.request("TranslatePaths", head + quotedList(srcPaths, count));
        std::vector<LantrixStr> translated(dstPaths != nullptr && count > 0 ? std::size_t(count)
                                                                            : 0);
        std::size_t known = 0;
        rcProtocol::forEachItem(reply, [&](std::string_view path) {
            if (known < translated.size())
                lantrixStore(translated[known++], std::string(path).c_str());
        });
        for (std::size_t i = 0; dstPaths != nullptr && i < known; ++i)
            dstPaths[i].swap(translated[i]);
        return true;
    });
}
