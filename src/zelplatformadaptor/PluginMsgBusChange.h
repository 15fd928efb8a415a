#pragma once

#include <memory>
#include <string>

#include "ZELPlatform/BaseContent.h"
#include "qar/IBusMsg.h"

namespace qar {

/// A change message received from an observer topic. Its constructor works out which resource it speaks of, from the
/// topic's parameter class or, for other topics, from the JSON text. Borrows the content's block and keeps the content
/// alive.
class CPluginMsgBusChange final : public IBusMsg {
public:
    /// @param change_type  counts only while the content tells no type of its own
    CPluginMsgBusChange(const std::string& observer, int change_type,
                        std::shared_ptr<ZELPlatform::CBaseContent> content);

    int Type() const override;
    int SourceType() const override;
    unsigned int SourceID() const override;
    const char* Data() const override;
    unsigned int DataSize() const override;
    bool BinaryData() const override;
    std::string GetJsonTxt() const override;
    const char* GetBinaryData() const override;

private:
    bool ReadTopicParam();
    void ReadPersonChange();
    void ReadPersonAdditionalInfo();
    void ReadJson();

    std::shared_ptr<ZELPlatform::CBaseContent> ptr_content;
    std::string str_observer;
    int n_change_type;
    int n_resource_type;
    int n_resource_id;
    const char* p_data;
    unsigned int n_data_size;
};

}  // namespace qar
