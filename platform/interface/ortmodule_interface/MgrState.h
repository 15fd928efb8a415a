#pragma once

#include "ZELPlatform/BaseContent.h"

namespace ortmodule_interface {

/// Parameter of the topic "ORT_ElementSiteObserver": an element of a remote site.
class CElementMgrState : public ZELPlatform::CObserverParam {
public:
    CElementMgrState() : n_element_id_(-1) {}
    int GetValelementId() const { return n_element_id_; }
    void SetValelementId(int id) { n_element_id_ = id; }

private:
    int n_element_id_;
};

/// Parameter of the topic "ORT_SiteObserver": a remote site.
class CRemoteSiteMgrState : public ZELPlatform::CObserverParam {
public:
    CRemoteSiteMgrState() : n_site_id_(-1) {}
    int GetValsiteId() const { return n_site_id_; }
    void SetValsiteId(int id) { n_site_id_ = id; }

private:
    int n_site_id_;
};

/// Parameter of the topic "ORT_AreaObserver": an area of a remote site.
class CAreaMgrState : public ZELPlatform::CObserverParam {
public:
    CAreaMgrState() : n_area_id_(-1) {}
    int GetValareaId() const { return n_area_id_; }
    void SetValareaId(int id) { n_area_id_ = id; }

private:
    int n_area_id_;
};

}  // namespace ortmodule_interface
