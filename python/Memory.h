// The memory of a Python object that has some: of an array, of bytes.
// Holds the object's memory in place as long as it lives, also without the interpreter's lock; made
// and destroyed with it.
#ifndef PYTHON_MEMORY_H
#define PYTHON_MEMORY_H

#include "python/Binding.h"

namespace python {

class Memory {
public:
    Memory(PyObject* object, int flags) {
        if (PyObject_GetBuffer(object, &view_, flags) != 0)
            throw py::error_already_set();
    }
    ~Memory() { PyBuffer_Release(&view_); }
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;

    [[nodiscard]] char* bytes() const { return static_cast<char*>(view_.buf); }
    /// Throws BadFrame unless there are as many bytes as a frame has.
    void check(std::size_t frameSize) const {
        if (view_.itemsize != 1 || static_cast<std::size_t>(view_.len) != frameSize) {
            throw BindingError(ErrorKind::BadFrame, "the buffer has " + std::to_string(view_.len) +
                                                        " bytes, the frames of this clip " +
                                                        std::to_string(frameSize));
        }
    }

private:
    Py_buffer view_{};
};

} // namespace python

#endif
