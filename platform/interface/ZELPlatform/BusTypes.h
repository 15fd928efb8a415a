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

/// Methods of a URL that users request.
enum Method {
    kMethodGet = 0,
    kMethodPut = 1,
    kMethodPost = 2,
    kMethodDelete = 3,
    kMethodPostGet = 4,
    kMethodAny = 5,
};

namespace CmdParam {

/// How the request's handler is run.
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

}  // namespace UserSession
}  // namespace InterfaceCommonData

}  // namespace ZELPlatform
