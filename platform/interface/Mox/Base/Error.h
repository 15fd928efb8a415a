#pragma once

namespace Mox {
namespace Base {

/// The last error of the calling thread. Set by whoever fails, read by the caller after a `false`, cleared by nobody.
class Error {
public:
    /// A plain pair, printed in logs as "err[%d,%d]". (0, 0) says that nothing has failed.
    class ErrorCode {
    public:
        ErrorCode() : n_module_(0), n_code_(0) {}
        ErrorCode(int module, int code) : n_module_(module), n_code_(code) {}

        int GetModule() const { return n_module_; }
        int GetCode() const { return n_code_; }

        friend bool operator==(const ErrorCode& left, const ErrorCode& right) {
            return left.n_module_ == right.n_module_ && left.n_code_ == right.n_code_;
        }
        friend bool operator!=(const ErrorCode& left, const ErrorCode& right) { return !(left == right); }

    private:
        int n_module_;
        int n_code_;
    };

    /// Stores the error of the calling thread.
    static void SetLastError(const ErrorCode& error);

    /// @return the calling thread's last error; (0, 0) on a thread that never failed
    static ErrorCode GetLastError();
};

}  // namespace Base
}  // namespace Mox
