#include "devserver/DevFrameRequest.h"

#include "devserver/DevError.h"
#include "devserver/DevLimits.h"
#include "devserver/DevText.h"

#include <cstring>

std::size_t DevFrameRequest::append(const char* data, std::size_t size, bool& complete) {
    std::size_t taken = 0;
    while (taken < size && token_ < tokens_.size()) {
        const void* const nul = std::memchr(data + taken, '\0', size - taken);
        const char* const end = nul != nullptr ? static_cast<const char*>(nul) : data + size;
        const auto length = static_cast<std::size_t>(end - (data + taken));
        std::string& token = tokens_[token_];
        if (token.size() + length > DevLimits::frameToken)
            throw DevError("A token is longer than " + std::to_string(DevLimits::frameToken) +
                           " bytes.");
        token.append(data + taken, length);
        taken += length;
        if (nul == nullptr)
            break;
        ++taken;
        if (token_++ == 0)
            kind_ = kindOfName();
    }
    complete = token_ == tokens_.size();
    return taken;
}

DevFrameRequest::Kind DevFrameRequest::kindOfName() const {
    const std::string& name = tokens_[0];
    if (name == "WriteFrame")
        return Write;
    if (name == "ReadFrame")
        return Read;
    if (name == "ReadAhead" && knowsReadAhead_)
        return ReadAhead;
    throw DevError("Unknown request " + devQuoted(name) + ".");
}

std::optional<std::size_t> DevFrameRequest::size() const {
    const std::optional<std::size_t> size = devInteger<std::size_t>(sizeText());
    if (!size || *size > DevLimits::frameSize)
        return std::nullopt;
    return size;
}
