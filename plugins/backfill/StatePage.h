#pragma once

#include <memory>
#include <string>

#include "StatePageSource.h"

namespace backfill {

class StatePageService;

/// The plug-in's state for people and programs, under the platform's web front:
///
///     GET  /ID                     a page that shows all below, with a button for each range
///     GET  /ID/cameras             the cameras, with the numbers of their points and open ranges
///     GET  /ID/cameras/CAMERA/BUSI points and open ranges of one camera under a business type
///     POST /ID/fetch               keys camera, busi, begin, end: fetches a range now that would wait for its next
///                                  attempt
///
/// All but the page answer with a JSON object; a request that cannot be served gets {"error": "..."}. However many
/// requests come at once, they use one connection of the database; the numbers of points may be seconds old.
class StatePage {
public:
    /// @param plugin  the plug-in's id, which begins the URLs
    /// @param source  used until Close has returned
    StatePage(std::string plugin, StateSource& source);
    ~StatePage();
    StatePage(const StatePage&) = delete;
    StatePage& operator=(const StatePage&) = delete;

    /// Binds the URLs.
    void Open();
    /// Releases the URLs and waits for the requests that are being served. Harmless when not open.
    void Close();

private:
    const std::string plugin_;
    const std::shared_ptr<StatePageService> service_;  // shared with the handlers, which may outlive this
    bool open_ = false;
};

}  // namespace backfill
