#include <cstddef>
#include <limits>
#include <string>

#include "internal/Hidden.h"
#include "internal/LeakSanitizer.h"
#include "qar/IBusMsg.h"
#include "qarutil/SecureMemory.h"
#include "zelplatformadaptor/BusMsgBlock.h"

namespace qar {

/// What CBusMsgCommon holds: the numbers and an own block.
class QAR_HIDDEN CBusMsgCommon::Impl final {
public:
    Impl(int type, int source_type, unsigned int source_id, const std::string& json, const char* binary,
         unsigned int binary_size, const std::string& plugin_id);
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    ~Impl();

    /// Reads the source through its virtual operations only. The figure for the binary part counts the text's NUL in,
    /// so the copy's block is one byte longer than the source's: plug-ins see that DataSize().
    static Impl* CopyOf(const CBusMsgCommon& source);

    virtual int Type() const;
    virtual int SourceType() const;
    virtual unsigned int SourceID() const;
    virtual const char* Data() const;
    virtual unsigned int DataSize() const;
    virtual bool BinaryData() const;
    virtual std::string GetJsonTxt() const;
    virtual const char* GetBinaryData() const;
    virtual std::string PluginID() const;

private:
    int n_type;
    int n_source_type;
    unsigned int n_source_id;
    char* p_data;
    unsigned int n_data_size;
    bool b_binary;
    std::string str_plugin_id;
};

CBusMsgCommon::Impl::Impl(int type, int source_type, unsigned int source_id, const std::string& json,
                          const char* binary, unsigned int binary_size, const std::string& plugin_id)
    : n_type(type),
      n_source_type(source_type),
      n_source_id(source_id),
      p_data(nullptr),
      n_data_size(0),
      b_binary(true),
      str_plugin_id(plugin_id) {
    if (!json.empty()) b_binary = false;
    const std::size_t size = json.size() + binary_size + 1;
    if (size > std::numeric_limits<unsigned int>::max()) return;  // DataSize() cannot tell it: no block
    n_data_size = static_cast<unsigned int>(size);
    p_data = new char[size + 1];
    p_data[size] = '\0';  // never counted; a copy of the message reads it
    qarutil::memset_s(p_data, n_data_size, 0, n_data_size);
    qarutil::memcpy_s(p_data, n_data_size, json.data(), json.size());
    qarutil::memcpy_s(p_data + json.size() + 1, binary_size, binary, binary_size);
}

CBusMsgCommon::Impl::~Impl() { delete[] p_data; }

CBusMsgCommon::Impl* CBusMsgCommon::Impl::CopyOf(const CBusMsgCommon& source) {
    const std::string text = source.GetJsonTxt();
    const auto binary_size = static_cast<unsigned int>(source.DataSize() - text.size());
    return new Impl(source.Type(), source.SourceType(), source.SourceID(), text, source.GetBinaryData(), binary_size,
                    source.PluginID());
}

int CBusMsgCommon::Impl::Type() const { return n_type; }
int CBusMsgCommon::Impl::SourceType() const { return n_source_type; }
unsigned int CBusMsgCommon::Impl::SourceID() const { return n_source_id; }
const char* CBusMsgCommon::Impl::Data() const { return p_data; }
unsigned int CBusMsgCommon::Impl::DataSize() const { return n_data_size; }
bool CBusMsgCommon::Impl::BinaryData() const { return b_binary; }
std::string CBusMsgCommon::Impl::GetJsonTxt() const {
    return b_binary ? std::string() : internal::BlockText(p_data, n_data_size);
}
const char* CBusMsgCommon::Impl::GetBinaryData() const { return internal::BlockBinary(p_data, n_data_size); }
std::string CBusMsgCommon::Impl::PluginID() const { return str_plugin_id; }

CBusMsgCommon::CBusMsgCommon(int type, int source_type, unsigned int source_id, const std::string& json,
                             const char* binary, unsigned int binary_size)
    : CBusMsgCommon(type, source_type, source_id, json, binary, binary_size, "not provide") {}

CBusMsgCommon::CBusMsgCommon(int type, int source_type, unsigned int source_id, const std::string& json,
                             const char* binary, unsigned int binary_size, const std::string& plugin_id)
    : ptr_impl_(new Impl(type, source_type, source_id, json, binary, binary_size, plugin_id)) {}

CBusMsgCommon::CBusMsgCommon(const CBusMsgCommon& other) : IBusMsg(other), ptr_impl_(Impl::CopyOf(other)) {}

CBusMsgCommon& CBusMsgCommon::operator=(const CBusMsgCommon& other) {
    const Impl* left_behind = ptr_impl_;
    ptr_impl_ = Impl::CopyOf(other);
    internal::LeftToProcessEnd(left_behind);
    return *this;
}

CBusMsgCommon::~CBusMsgCommon() { delete ptr_impl_; }

int CBusMsgCommon::Type() const { return ptr_impl_->Type(); }
int CBusMsgCommon::SourceType() const { return ptr_impl_->SourceType(); }
unsigned int CBusMsgCommon::SourceID() const { return ptr_impl_->SourceID(); }
const char* CBusMsgCommon::Data() const { return ptr_impl_->Data(); }
unsigned int CBusMsgCommon::DataSize() const { return ptr_impl_->DataSize(); }
bool CBusMsgCommon::BinaryData() const { return ptr_impl_->BinaryData(); }
std::string CBusMsgCommon::GetJsonTxt() const { return ptr_impl_->GetJsonTxt(); }
const char* CBusMsgCommon::GetBinaryData() const { return ptr_impl_->GetBinaryData(); }
std::string CBusMsgCommon::PluginID() const { return ptr_impl_->PluginID(); }

}  // namespace qar
