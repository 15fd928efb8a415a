/*
 * What a plug-in and qarhost say to each other. A plug-in is a shared library that exports one function,
 * qarhost_plugin_entry, and links QARCommon for all else. This header is plain C and needs nothing besides itself.
 */
#ifndef QARHOST_PLUGIN_ENTRY_H
#define QARHOST_PLUGIN_ENTRY_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Version of this header. A plug-in puts it into qarhost_plugin_t::abi_version, and the host refuses any other. Fields
 *  may be added at the end of the structures under the same version: `size` tells which ones are there. */
#define QARHOST_ABI_VERSION 1

/** Name of the one exported function, for those who look it up. */
#define QARHOST_PLUGIN_ENTRY_NAME "qarhost_plugin_entry"

/** What the host hands to a plug-in. The host owns it and all it points to; it stays readable and unchanged until
 *  stop() has returned. */
typedef struct qarhost_context {
    uint32_t abi_version; /**< QARHOST_ABI_VERSION of the host */
    uint32_t size;        /**< sizeof(qarhost_context_t) of the host */
    /** Id of the plug-in in the site file, UTF-8, never empty. The name to use towards the library; one plug-in file
     *  may be loaded under one id only. */
    const char* plugin_id;
    /** The plug-in's part of the site, one JSON object as UTF-8 text; "{}" where the site says nothing. */
    const char* config_json;
    /** Absolute path of the folder in which the host keeps its data; the plug-in may write below it, under names that
     *  begin with its id. */
    const char* data_dir;
    /** Writes one line for the operator, to the host's log and its standard error.
     *  @param message  NUL-terminated UTF-8; copied; null counts as empty. Where start() fails, the last line it
     *                  reported stands in the host's own error line as the reason.
     *  Threads: any, from the call of start() until stop() has returned. Throws nothing. */
    void (*report)(const char* message);
} qarhost_context_t;

/** What a plug-in says of itself. The plug-in owns it and all it points to; it must stay readable and unchanged to the
 *  end of the process. */
typedef struct qarhost_plugin {
    uint32_t abi_version; /**< QARHOST_ABI_VERSION that the plug-in was built with */
    uint32_t size;        /**< sizeof(qarhost_plugin_t) that the plug-in was built with */
    const char* name;     /**< for the log; may differ from the id in the site file; null counts as empty */
    const char* version;  /**< for the log; null counts as empty */
    /** Begins the plug-in's work. Called once, on the host's main thread, plug-in after plug-in in the order of the
     *  site file.
     *  The site and the database are open and the library can be used in full. No device has been asked yet: a device
     *  counts as away and its clock as unknown, until the probes begin after the last plug-in has started; the first
     *  contacts then come as events. Set up tables, register and name the cameras here, start threads for
     *  everything that lasts, and return: the devices are not probed before.
     *  SIGTERM and SIGINT are blocked in all threads and SIGPIPE is ignored; a plug-in must not change that in this
     *  process, and must undo it in a process that it starts.
     *  @return 0; any other value tells that the plug-in cannot work. The host then does not call stop(): what start()
     *          has begun it must have ended. The host stops the other plug-ins and itself.
     *  Exceptions should not leave it; one that does counts as a failed start. */
    int (*start)(const qarhost_context_t* context);
    /** Ends the plug-in's work: called once after a start() that gave 0, on the host's main thread, in the reverse
     * order of the starts. May be null where there is nothing to end. Probes and timers have ended by then; bus,
     * library and database still work. It must end the registrations at the library (IHistoryStateMgr::UnRegister,
     * subscriptions, IDBManager::Finalize) and its own threads and child processes, and must not return before they are
     * gone. It should return within seconds. A callback that the library had begun may still run, or begin once more,
     * while and shortly after the registration ends: what a callback touches must stay alive to the end of the process,
     * or be owned by the callback itself. The plug-in's library is not unloaded. Exceptions should not leave it; one
     * that does is caught and logged, and the stop goes on. */
    void (*stop)(void);
} qarhost_plugin_t;

/** The exported function. Called once, right after the library was loaded, on the host's main thread. It should do
 *  nothing but hand out a constant; exceptions must not leave it.
 *  @return never null */
__attribute__((visibility("default"))) const qarhost_plugin_t* qarhost_plugin_entry(void);

/** Its type, for those who look it up. */
typedef const qarhost_plugin_t* (*qarhost_plugin_entry_t)(void);

#ifdef __cplusplus
}
#endif

#endif
