#pragma once

namespace qar::history_test {

/// While it stands, operator new of the kind that does not throw gives null on every thread.
class NothrowNewFails {
public:
    NothrowNewFails();
    ~NothrowNewFails();
    NothrowNewFails(const NothrowNewFails&) = delete;
    NothrowNewFails& operator=(const NothrowNewFails&) = delete;
};

}  // namespace qar::history_test
