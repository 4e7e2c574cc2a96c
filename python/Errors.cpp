#include "Errors.h"

namespace py = pybind11;

namespace zsff_python {

namespace {

// Owned by the module, which lives as long as the interpreter.
PyObject* g_Error = nullptr;
PyObject* g_FileError = nullptr;

}  // namespace

void DefineErrors(py::module_& module) {
  g_Error = PyErr_NewExceptionWithDoc("zsff.Error", "A failure of the zsff library.", nullptr,
                                      nullptr);
  if (g_Error == nullptr) throw py::error_already_set();
  const py::tuple bases = py::make_tuple(py::handle(g_Error), py::handle(PyExc_OSError));
  g_FileError = PyErr_NewExceptionWithDoc(
      "zsff.FileError", "A failure of the zsff library whose cause is a file or a directory.",
      bases.ptr(), nullptr);
  if (g_FileError == nullptr) throw py::error_already_set();
  module.add_object("Error", py::handle(g_Error));
  module.add_object("FileError", py::handle(g_FileError));
}

void RaiseError(const std::string& message) {
  PyErr_SetString(g_Error, message.c_str());
  throw py::error_already_set();
}

void RaiseFileError(const std::string& message, int errnum) {
  if (errnum == 0) {
    PyErr_SetString(g_FileError, message.c_str());
  } else {
    // OSError(errno, strerror) sets e.errno and shows as "[Errno N] message".
    const py::tuple arguments = py::make_tuple(errnum, message);
    PyErr_SetObject(g_FileError, arguments.ptr());
  }
  throw py::error_already_set();
}

}  // namespace zsff_python
