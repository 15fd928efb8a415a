#pragma once

namespace ZELPlatform {

/// Roads on which an observer message is carried.
enum ObserverTaskType {
    kObserverTask0 = 0,
    kObserverTask2 = 2,
};

/// Kinds of subscribers.
enum SubscriberType {
    kSubscriberClient = 1,
    kSubscriberPlugin = 2,
};

/// Whether a subscription begins or ends. Every other value is taken as an end.
enum SubScribeType {
    kSubscribe = 1,
    kSubscribeCancel = 2,
};

/// Methods of a URL that users request.
enum Method {
    kMethodGet = 0,
    kMethodPut = 1,
    kMethodPost = 2,
    kMethodDelete = 3,
    kMethodPostGet = 4,  ///< POST and GET
    kMethodAny = 5,
};

namespace CmdParam {

/// How the request's handler is wanted to run. The standalone platform makes no difference: a worker runs quick
/// requests one after the other, and one that has waited a millisecond behind a long one gets a worker of its own. So
/// several of one URL may run at once.
enum Exec {
    kExecSync = 0,
    kExecAsync = 1,
};

}  // namespace CmdParam

namespace InterfaceCommonData {
namespace UserSession {

/// Kinds of programs that a user logs in with. The values are the platform's; the library passes them through.
enum ClientType {
    kClientTypeWeb = 1,
    kClientTypeDesktop = 2,
    kClientTypeMobile = 3,
};

/// What kind of account a session belongs to.
enum LoginAccountType {
    kAccountUser = 1,    ///< a user of the system; the id is the user's
    kAccountPerson = 3,  ///< a person; the id is the person's
};

}  // namespace UserSession

namespace AccesstypeInfo {

/// How users reach the system.
enum Accesstype {
    kAccessHttp = 1,
    kAccessHttps = 2,
};

}  // namespace AccesstypeInfo
}  // namespace InterfaceCommonData

}  // namespace ZELPlatform
