#include "binwriter/value_writer.h"

#include "binwriter/checked_size.h"
#include "binwriter/tuning_binary_builder.h"

namespace binwriter {

ValueWriter::ValueWriter(TuningBinaryBuilder& builder)
    : m_builder(builder), m_writer(builder.Alignment()) {}

ValueWriter& ValueWriter::String(const std::string& text) {
    std::vector<uint8_t> stored(text.begin(), text.end());
    stored.push_back(0);
    U32(ToU32(stored.size()));
    return Pointer(m_builder.AddPointerTarget(std::move(stored)));
}

}  // namespace binwriter
