#pragma once

#include <memory>
#include <string>
#include <vector>

#include "AttemptTable.h"
#include "RangeQueue.h"
#include "qar/HttpRecords.h"

namespace backfill {

/// What the page shows and does. Called on threads of the platform, several at a time.
class StateSource {
public:
    struct Camera {
        CameraKey key;
        std::string name;
        long long points = 0;
    };

    virtual ~StateSource() = default;

    /// @return false when the database did not answer
    virtual bool Cameras(std::vector<Camera>& cameras) = 0;
    virtual bool Points(const CameraKey& key, std::vector<HistoryPoint>& points) = 0;
    /// @param errors  gets the texts of failed attempts, by the told ranges' begins and ends
    virtual bool Errors(const CameraKey& key, std::map<std::pair<std::string, std::string>, std::string>& errors) = 0;
    virtual std::vector<RangeQueue::Entry> Pieces() = 0;
    /// Lets a range that waits be fetched now. @return false when nothing of it is to be fetched
    virtual bool FetchNow(const CameraKey& key, const TimeRange& range) = 0;
};

/// The plug-in's state for people and programs, under the platform's web front:
///
///     GET  /ID                     a page that shows all below, with a button for each range
///     GET  /ID/cameras             the cameras, with the numbers of their points and open ranges
///     GET  /ID/cameras/CAMERA/BUSI points and open ranges of one camera under a business type
///     POST /ID/fetch               keys camera, busi, begin, end: fetches a range now that would wait for its next
///                                  attempt
///
/// All but the page answer with a JSON object; a request that cannot be served gets {"error": "..."}.
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
    class Service;

    const std::string plugin_;
    const std::shared_ptr<Service> service_;  // shared with the handlers, which may outlive this
    bool open_ = false;
};

}  // namespace backfill
