// The exceptions of the module: zsff.Error for every failure of the library,
// and zsff.FileError, an Error that is also an OSError, when a file or a
// directory is the cause, so that `except OSError` catches what a Python user
// expects it to.
#pragma once

#include <pybind11/pybind11.h>

#include <string>

namespace zsff_python {

// Adds Error and FileError to `module`.
void DefineErrors(pybind11::module_& module);

// Raise the exception with `message`; FileError carries `errnum` as its errno
// when it is known (non-zero).
[[noreturn]] void RaiseError(const std::string& message);
[[noreturn]] void RaiseFileError(const std::string& message, int errnum = 0);

}  // namespace zsff_python
