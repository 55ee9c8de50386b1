#include "python/Binding.h"

namespace python {

BindingError errorOf(const lantrix::Failure& failure, const std::string& host, int port) {
    using Kind = lantrix::Failure::Kind;
    const std::string text = host + ":" + std::to_string(port) + ": " + failure.text;
    if (failure.kind == Kind::Connection)
        return {ErrorKind::ConnectionFailed, text};
    if (failure.kind == Kind::Stopped)
        return {ErrorKind::Error, text};
    // The library's own refusals on behalf of servers that do not know a method.
    if (failure.text == "Server does not support linking to existing media files." ||
        failure.text == "Functionality not supported on remote Lantrix server.")
        return {ErrorKind::ProtocolTooOld, text};
    return {ErrorKind::Refused, text};
}

py::str pythonText(const char* bytes, std::size_t size) {
    PyObject* const text =
        PyUnicode_DecodeUTF8(bytes, static_cast<Py_ssize_t>(size), "surrogateescape");
    if (text == nullptr)
        throw py::error_already_set();
    return py::reinterpret_steal<py::str>(text);
}

bool bytesOfText(PyObject* text, std::string& bytes) {
    if (!PyUnicode_Check(text))
        return false;
    const auto encoded = py::reinterpret_steal<py::bytes>(
        PyUnicode_AsEncodedString(text, "utf-8", "surrogateescape"));
    if (!encoded) {
        PyErr_Clear();
        return false;
    }
    bytes = std::string(encoded);
    return bytes.find('\0') == std::string::npos;
}

} // namespace python
