#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZELPlatform/BusTypes.h"
#include "ZELPlatform/LocalConfigManager.h"
#include "qarutil/DBManagerPure.h"

namespace platform_tests {

/// A row of a result; a missing value is NULL.
using Row = std::vector<std::optional<std::string>>;

/// The site that LoadSite makes.
///
/// device  type  zone (bias, daylight rules, daylight bias)              channels (id/no, of type 1001 unless told)
///    1    2001  "east" (-480)                                           101/1, 102/2, 109/1 of type 1002
///    2    2001  "west" (300, 3:2:0:2:0 to 11:1:0:2:0, -60)              201/1
///    3    2001  "south" (-600, 10:1:0:2:0 to 4:1:0:3:0, -60)            301/1
///    4    2001  "last" (-60, 3:5:0:2:0 to 10:5:0:3:0, -60)              401/1
///    5    2001  none                                                    501/1
///    6    2001  "off" (-540, rules as "west" but not enabled)           601/1
///    9    2002  "east"                                                  901/1
///
/// Device n has the GUID DeviceGuid(n), the name "device n", the address 127.0.0.1 and guard on. Channel c has the GUID
/// ChannelGuid(c) and carries the element c + 1000 with the name "camera c" in the area 1, "Yard". Devices 1 to 4 and 6
/// can be made to answer; none does at first.
std::string DeviceGuid(int device);
std::string ChannelGuid(int channel);

// The users that StartFront makes:
//
// name  id  permissions  account
// ann    1  11, 12       user
// bob    2  12           user
// cid    3  none         user
// pia    4  none         person 50

/// A user's request.
struct UserRequest {
    std::string target;  ///< path and query, as sent
    std::string verb = "GET";
    std::string session{};  ///< the session's id; "": without one
    std::string body{};
    std::string content_type{};
};

/// The answer to a request, as the user's client reads it.
struct UserAnswer {
    unsigned status = 0;
    std::map<std::string, std::string> headers;  ///< names in lower case
    std::string body;

    /// @return a header's value; "" when it is absent
    std::string Header(const std::string& name) const {
        const auto found = headers.find(name);
        return found == headers.end() ? "" : found->second;
    }
};

/// A request that was sent.
class UserCall {
public:
    virtual ~UserCall() = default;

    /// @return the answer once it is there
    virtual std::optional<UserAnswer> Answer() = 0;
    /// The client goes without waiting for the answer.
    virtual void Leave() = 0;
};

/// What a client was sent over its push connection.
struct Frame {
    bool text;
    std::string data;
};

/// What the tests need of a platform beside its interface. One object a test; a test has its process for itself.
class PlatformUnderTest {
public:
    static std::unique_ptr<PlatformUnderTest> Make();

    virtual ~PlatformUnderTest() = default;

    /// Lets the platform work until `done` is true. @return false when it takes too long
    virtual bool WaitUntil(const std::function<bool()>& done) = 0;

    /// @return the text of all lines logged since the last call of StartLog
    virtual std::string LogText() = 0;
    /// Begins a log that takes lines of a level and above.
    virtual void StartLog(int level) = 0;

    /// Makes the site above. Before anything that is asked of devices.
    virtual void LoadSite() = 0;
    /// Begins to look for the devices, so that those which answer are found.
    virtual void StartDevices() = 0;
    virtual void SetAnswers(int device, bool answers) = 0;
    virtual void SetGuard(int device, bool guard) = 0;

    /// Begins to serve users by HTTP: the users above, who hold their permissions through roles.
    virtual void StartFront() = 0;
    /// @return the id of a new session
    virtual std::string LogIn(const std::string& user,
                              ZELPlatform::InterfaceCommonData::UserSession::ClientType client_type) = 0;
    virtual void LogOut(const std::string& session) = 0;
    /// Sends a request; the handler may run in this call or later.
    virtual std::unique_ptr<UserCall> Send(const UserRequest& request) = 0;
    /// Opens the push connection of a session's client.
    virtual void OpenClient(const std::string& session) = 0;
    /// @return what the session's client got so far
    virtual std::vector<Frame> Frames(const std::string& session) = 0;

    /// Sets where the plug-ins' database lies and tells it as the platform does.
    virtual void SetDatabasePlace(const ZELPlatform::CLocalDBInfo& info) = 0;

    /// @return parameters of an empty database that can be reached; the same for the same number
    virtual qar::SDBParam Database(int number) = 0;
    virtual qar::SDBParam UnreachableDatabase() = 0;
    virtual qar::SDBForwardArg& ForwardArg() = 0;

    /// Tells a platform that has no database behind it what queries with this fragment give. One that has does nothing.
    virtual void Script(const std::string& fragment, const std::vector<std::string>& columns,
                        const std::vector<Row>& rows) = 0;
    /// Tells a platform that has no database behind it that statements with this fragment fail.
    virtual void ScriptFailure(const std::string& fragment) = 0;
};

}  // namespace platform_tests
