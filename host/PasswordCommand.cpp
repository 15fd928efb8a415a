#include "host/PasswordCommand.h"

#include <unistd.h>

#include <cstdint>
#include <optional>
#include <ostream>

#include "host/ExitCode.h"
#include "host/PasswordPrompt.h"
#include "host/SiteReading.h"
#include "host/StoreOpening.h"
#include "standalone/auth/PasswordHash.h"
#include "standalone/site/SiteStore.h"
#include "standalone/site/UserStore.h"

namespace qarhost {

namespace {

int Fail(std::ostream& err, int exit_code, const std::string& error) {
    err << "qarhost: " << error << "\n";
    return exit_code;
}

}  // namespace

int SetPassword(const std::string& site_file, const std::string& user, std::ostream& out, std::ostream& err) {
    const auto file = ReadSite(site_file, err);
    if (!file) return kExitSiteFile;
    std::string error;
    if (!MakeFolder(file->data_dir, error)) return Fail(err, kExitFailure, "cannot make the data folder " + error);
    qarplatform::SiteStore store;
    if (!OpenStore(*file, store, error)) return Fail(err, kExitDatabase, error);
    qarplatform::UserStore& users = store.Users();
    const std::string no_user = "there is no user \"" + user + "\" in " + StorePath(file->data_dir);
    std::optional<qarplatform::StoredUser> found;
    if (!users.Find(user, found, error)) return Fail(err, kExitDatabase, error);
    if (!found) return Fail(err, kExitFailure, no_user);

    std::string password;
    if (!AskPassword(STDIN_FILENO, err, password, error)) return Fail(err, kExitFailure, error);
    const std::string hash = qarplatform::HashPassword(password);
    qarplatform::ForgetPassword(password);
    if (hash.empty()) return Fail(err, kExitFailure, "the password cannot be hashed: no memory or no random bytes");
    std::optional<int64_t> ended;
    if (!users.SetPassword(user, hash, ended, error)) return Fail(err, kExitDatabase, error);
    if (!ended) return Fail(err, kExitFailure, no_user);
    out << "password of user " << user << " set";
    if (*ended != 0) out << ", " << *ended << (*ended == 1 ? " session" : " sessions") << " ended";
    out << "\n";
    return kExitOk;
}

}  // namespace qarhost
