#include "qar/IBusMsg.h"

namespace qar {

IBusMsgExtendContentData::~IBusMsgExtendContentData() = default;

IBusMsg::~IBusMsg() = default;

std::string IBusMsg::PluginID() const { return "not provide"; }

void IBusMsg::GetExtendContentDatas(std::list<std::shared_ptr<IBusMsgExtendContentData>>&) {}

void IBusMsg::GetPictureBinaryDatas(std::list<std::shared_ptr<moxcore::IMoxMemoryBlock>>&) {}

}  // namespace qar
