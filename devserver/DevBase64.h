// Bytes as text, for the places of a description that only take text.
// Stateless; any thread. Failures are DevError.
#ifndef DEVSERVER_DEVBASE64_H
#define DEVSERVER_DEVBASE64_H

#include <string>
#include <string_view>

/// Base64 with padding, without line feeds.
[[nodiscard]] std::string devBase64(std::string_view bytes);
[[nodiscard]] std::string devBytesOfBase64(std::string_view text);

#endif
