#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "standalone/device/DeviceAddress.h"
#include "standalone/device/DeviceClock.h"
#include "standalone/site/SiteRecords.h"
#include "standalone/timezone/Zone.h"
#include "tuk/Channel.h"
#include "tuk/Device.h"
#include "tuk/Feature.h"

namespace qarplatform {

/// A device of the site and what the probes found out about it. Threads: any for what is read; the probes' thread
/// writes the contact and the clock.
class LiveDevice final : public tuk::CDevice {
public:
    /// @param zone  may be empty; the device's clock shows UTC then
    LiveDevice(const DeviceRecord& record, std::shared_ptr<const Zone> zone);

    std::shared_ptr<tuk::CFeature> GetFeature(int kind) const override;
    int GetLoginMode() const override { return 0; }
    int GetType() const override { return record_.type; }
    std::string GetTextC() const override { return record_.probe; }
    unsigned short GetPort() const override { return address_.port; }
    std::string GetTextD() const override { return record_.archive; }
    std::string GetTextE() const override { return record_.zone; }
    std::string GetGuid() const override { return record_.guid; }
    int GetID() const override { return record_.id; }
    std::string GetTextB() const override { return record_.name; }
    std::string GetTextA() const override { return address_.host; }
    unsigned short GetAlternatePort() const override { return address_.port; }
    bool IsOnline() const override { return online_.load(std::memory_order_acquire); }
    bool GetGuardStatus() const override { return guard_.load(std::memory_order_acquire); }
    int GetSubCategory() const override { return 0; }
    void GetChannels(std::vector<std::shared_ptr<tuk::CChannel>>& channels, int type) const override;
    std::shared_ptr<tuk::CChannel> FindChannelByID(int id, int type) const override;
    std::shared_ptr<tuk::CChannel> FindChannelByNo(int no, int type) const override;
    std::string GetFirmwareVersion() const override { return ""; }
    /// @return seconds since 1970 UTC, on the platform's clock, of the last contact; -1 before the first
    long long GetTimeValue() const override { return last_contact_.load(std::memory_order_acquire); }
    std::string GetOnlineIdentificationGUID() const override { return ""; }
    std::string GetStreamKey() const override { return ""; }

    const std::string& Name() const { return record_.name; }
    /// Not to be used where AddressError tells something.
    const DeviceAddress& Address() const { return address_; }
    /// @return what is wrong with the stored address; empty when it is good
    const std::string& AddressError() const { return address_error_; }
    const DeviceClock& GetClock() const { return clock_; }
    DeviceClock& GetClock() { return clock_; }
    /// @return null for a device without a zone
    const Zone* GetZone() const { return zone_.get(); }

    /// While the site is loaded, before anybody else sees the device.
    void AddChannel(std::shared_ptr<tuk::CChannel> channel) { channels_.push_back(std::move(channel)); }
    void SetOnline(bool online) { online_.store(online, std::memory_order_release); }
    void SetLastContact(int64_t seconds) { last_contact_.store(seconds, std::memory_order_release); }
    /// @return what it was
    bool SetGuard(bool guard) { return guard_.exchange(guard, std::memory_order_acq_rel); }

private:
    const DeviceRecord record_;
    DeviceAddress address_;
    std::string address_error_;
    const std::shared_ptr<const Zone> zone_;
    std::vector<std::shared_ptr<tuk::CChannel>> channels_;
    DeviceClock clock_;
    std::atomic<bool> online_{false};
    std::atomic<bool> guard_;
    std::atomic<long long> last_contact_{-1};
};

}  // namespace qarplatform
