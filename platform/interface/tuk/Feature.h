#pragma once

#include <string>

namespace tuk {

/// Kinds of features.
enum FeatureKind {
    kFeatureVideo = 2,
};

/// Something that a device can do. A view of the live object. Threads: any.
class CFeature {
public:
    virtual ~CFeature() {}
};

/// The video feature, kind 2.
class CVideoFeature : public CFeature {
public:
    /// @param format  gets the format of the device's stream URLs
    virtual void GetUrlFormat(std::string& format) const = 0;
};

}  // namespace tuk
