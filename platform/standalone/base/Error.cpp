#include "Mox/Base/Error.h"

namespace Mox {
namespace Base {

namespace {

thread_local int last_module = 0;
thread_local int last_code = 0;

}  // namespace

void Error::SetLastError(const ErrorCode& error) {
    last_module = error.GetModule();
    last_code = error.GetCode();
}

Error::ErrorCode Error::GetLastError() { return ErrorCode(last_module, last_code); }

}  // namespace Base
}  // namespace Mox
