// Text made of many short pieces, held in one block reused from one use to
// the next.
#ifndef TEXT_BUFFER_H
#define TEXT_BUFFER_H

#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

// Bytes appended a piece at a time: most pieces are a few bytes long, and
// the buffer is reused.
class text_buffer_t {
public:
    text_buffer_t() = default;
    // Moved, it leaves an empty buffer behind.
    text_buffer_t(text_buffer_t&& other) noexcept { *this = std::move(other); }
    text_buffer_t& operator=(text_buffer_t&& other) noexcept {
        data_ = std::move(other.data_);
        size_ = std::exchange(other.size_, 0);
        capacity_ = std::exchange(other.capacity_, 0);
        return *this;
    }
    char const* data() const { return data_.get(); }
    std::size_t size() const { return size_; }
    void clear() { size_ = 0; }
    std::string_view view(std::size_t at, std::size_t size) const { return {data() + at, size}; }
    text_buffer_t& operator+=(std::string_view s) {
        if (s.size() > capacity_ - size_)
            return grow_by(s);
        if (!s.empty())
            std::memcpy(data_.get() + size_, s.data(), s.size());
        size_ += s.size();
        return *this;
    }

private:
    // Appends `s` to a larger block; `s` may lie in the old one.
    text_buffer_t& grow_by(std::string_view s);
    std::unique_ptr<char[]> data_;
    std::size_t size_ = 0, capacity_ = 0;
};

#endif
