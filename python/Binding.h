// What all parts of the extension share: pybind11, the failures that become Python's exceptions,
// and texts, which a server may have sent in bytes that are not UTF-8.
// Everything here is used with the interpreter's lock held.
#ifndef PYTHON_BINDING_H
#define PYTHON_BINDING_H

#include "stream/Failure.h"

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <stdexcept>
#include <string>

namespace python {

namespace py = pybind11;

/// Which class of lantrix._errors a failure becomes.
enum class ErrorKind {
    Error,
    ConnectionFailed,
    NotFound,
    IndexNotFound,
    Refused,
    ProtocolTooOld,
    BadFrame,
    TimedOut
};

/// Thrown anywhere in the extension; Module.cpp translates it.
class BindingError : public std::runtime_error {
public:
    BindingError(ErrorKind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
    [[nodiscard]] ErrorKind kind() const { return kind_; }

private:
    ErrorKind kind_;
};

/// The error for a failure of a call on \p host; \p port is the one that the call uses.
[[nodiscard]] BindingError errorOf(const lantrix::Failure& failure, const std::string& host,
                                   int port);

/// A text in the bytes of the wire. Bytes that are not UTF-8 are surrogates in Python's strings,
/// as in its file names, and come back as the same bytes.
struct Text {
    std::string bytes;
};

[[nodiscard]] py::str pythonText(const char* bytes, std::size_t size);
[[nodiscard]] inline py::str pythonText(const std::string& bytes) {
    return pythonText(bytes.data(), bytes.size());
}
/// False for what is not a string, or can't be sent: NUL ends a text of the protocol.
[[nodiscard]] bool bytesOfText(PyObject* text, std::string& bytes);

} // namespace python

namespace pybind11::detail {

template <>
struct type_caster<python::Text> {
    PYBIND11_TYPE_CASTER(python::Text, const_name("str"));

    bool load(handle source, bool) { return python::bytesOfText(source.ptr(), value.bytes); }
    static handle cast(const python::Text& text, return_value_policy, handle) {
        return python::pythonText(text.bytes).release();
    }
};

} // namespace pybind11::detail

#endif
