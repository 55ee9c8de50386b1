// The extension lantrix._core: what the package in python/lantrix is written with. Its names are
// not public; lantrix/_core.pyi describes them.
#include "python/Log.h"
#include "python/Streams.h"

namespace {

using namespace python;

const char* nameOf(ErrorKind kind) {
    switch (kind) {
    case ErrorKind::ConnectionFailed:
        return "ConnectionFailed";
    case ErrorKind::NotFound:
        return "NotFound";
    case ErrorKind::IndexNotFound:
        return "IndexNotFound";
    case ErrorKind::Refused:
        return "Refused";
    case ErrorKind::ProtocolTooOld:
        return "ProtocolTooOld";
    case ErrorKind::BadFrame:
        return "BadFrame";
    case ErrorKind::TimedOut:
        return "TimedOut";
    case ErrorKind::Error:
        break;
    }
    return "Error";
}

void translate(std::exception_ptr thrown) {
    try {
        std::rethrow_exception(std::move(thrown));
    } catch (const BindingError& error) {
        const py::object type = py::module_::import("lantrix._errors").attr(nameOf(error.kind()));
        PyErr_SetObject(type.ptr(), pythonText(error.what()).ptr());
    }
}

// Of any object that stands for a whole number.
long long indexOf(PyObject* object) {
    int overflow = 0;
    const long long index = PyLong_AsLongLongAndOverflow(object, &overflow);
    if (index == -1 && PyErr_Occurred() != nullptr)
        throw py::error_already_set();
    if (overflow != 0) {
        throw BindingError(ErrorKind::IndexNotFound,
                           "no clip has a frame " + std::string(py::str(py::handle(object))));
    }
    return index;
}

// pybind11 allocates for each call; this one is made for each frame, and allocates nothing.
PyObject* readInto(PyObject* self, PyObject* const* arguments, Py_ssize_t count) {
    try {
        if (count != 2)
            throw py::type_error("read_into takes an index and what to read into");
        py::cast<Node&>(py::handle(self))
            .readInto(indexOf(arguments[0]), py::reinterpret_borrow<py::object>(arguments[1]));
        return py::none().release().ptr();
    } catch (py::error_already_set& error) {
        error.restore();
    } catch (const py::builtin_exception& error) {
        error.set_error();
    } catch (const BindingError&) {
        translate(std::current_exception());
    } catch (const std::exception& error) {
        PyErr_SetString(PyExc_RuntimeError, error.what());
    }
    return nullptr;
}

void bindReadInto(py::class_<Node>& node) {
    // As the interpreter has it for methods of this kind.
    const auto function = reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(readInto));
    static PyMethodDef method{"read_into", function, METH_FASTCALL, nullptr};
    PyObject* const made = PyDescr_NewMethod(reinterpret_cast<PyTypeObject*>(node.ptr()), &method);
    if (made == nullptr)
        throw py::error_already_set();
    node.attr("read_into") = py::reinterpret_steal<py::object>(made);
}

void bindConnection(py::module_& module) {
    py::class_<Connection, std::shared_ptr<Connection>>(module, "Connection")
        .def(py::init<const Text&, TimeLimit>())
        .def_property_readonly("host",
                               [](const Connection& connection) { return Text{connection.host()}; })
        .def_property("timeout", &Connection::limit, &Connection::setLimit)
        .def_property_readonly("closed", &Connection::isClosed)
        .def("close", &Connection::close)
        .def("stop", &Connection::stop)
        .def("vendor", &Connection::vendor)
        .def("product", &Connection::product)
        .def("version", &Connection::version)
        .def("protocol", &Connection::protocol)
        .def("storage_id", &Connection::storageId)
        .def("ping", &Connection::ping)
        .def("root", &Connection::root)
        .def("translate_paths", &Connection::translatePaths);
}

void bindNode(py::module_& module) {
    py::class_<Node> node(module, "Node");
    bindReadInto(node);
    node.def(py::init<std::shared_ptr<Connection>, Text>())
        .def_property_readonly("id", &Node::id)
        .def("name", &Node::name)
        .def("kind", &Node::kind)
        .def("count_children", &Node::countChildren)
        .def("child", &Node::child)
        .def("find_child", &Node::findChild)
        .def("child_names", &Node::childNames)
        .def("create_folder", &Node::createFolder)
        .def("create_clip", &Node::createClip)
        .def("destroy", &Node::destroy)
        .def("stream_names", &Node::streamNames)
        .def("metadata", &Node::metadata)
        .def("set_metadata", &Node::setMetadata)
        .def("format", &Node::format)
        .def("count_frames", &Node::countFrames)
        .def("resize", &Node::resize)
        .def("link", &Node::link)
        .def("frame_ids", &Node::frameIds)
        .def("frame_paths", &Node::framePaths)
        .def("read", &Node::read)
        .def("read_raw", &Node::readRaw)
        .def("write", &Node::write)
        .def("write_raw", &Node::writeRaw);
}

void bindStreams(py::module_& module) {
    py::class_<FrameSource>(module, "FrameSource")
        .def(py::init<Node&, std::vector<int>, unsigned, unsigned>())
        .def("next", &FrameSource::next)
        .def("close", &FrameSource::close);
    py::class_<FrameSink>(module, "FrameSink")
        .def(py::init<Node&, unsigned, unsigned>())
        .def("write", &FrameSink::write)
        .def("finish", &FrameSink::finish)
        .def("close", &FrameSink::close);
    py::class_<Walk>(module, "Walk")
        .def(py::init<Node&, unsigned, int>())
        .def("next", &Walk::next)
        .def("close", &Walk::close);
}

} // namespace

PYBIND11_MODULE(_core, module) {
    takeLogOver();
    py::register_local_exception_translator(translate);
    module.attr("version") = LANTRIX_VERSION;
    bindConnection(module);
    bindNode(module);
    bindStreams(module);
    module.def("format_of_array", formatOfArray);
    module.def("array_of_format", arrayOfFormat);
}
