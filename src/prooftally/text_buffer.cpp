#include "prooftally/text_buffer.h"

#include <algorithm>

text_buffer_t& text_buffer_t::grow_by(std::string_view s) {
    std::size_t const capacity = std::max(2 * capacity_, size_ + s.size() + 4096);
    std::unique_ptr<char[]> data(new char[capacity]);
    if (size_)
        std::memcpy(data.get(), data_.get(), size_);
    std::memcpy(data.get() + size_, s.data(), s.size());
    data_ = std::move(data);
    capacity_ = capacity;
    size_ += s.size();
    return *this;
}
