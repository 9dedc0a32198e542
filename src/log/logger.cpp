#include "src/log/logger.h"

#include <locale>
#include <new>

namespace tessit {

Logger logger;

LogBuffer::LogBuffer()
{
    // The last character of the buffer is the place of the one that arrives when the put area is full.
    setp(text_buffer_.data(), text_buffer_.data() + text_buffer_.size() - 1);
}

LogBuffer::~LogBuffer()
{
    LogBuffer::clear_tags();
}

void LogBuffer::attach_log_callback(std::string_view prefix, log_callback_t callback)
{
    detach_log_callback();
    prefix_ = prefix;
    callback_ = callback;
}

void LogBuffer::detach_log_callback()
{
    clear_tags();
    callback_ = nullptr;
    prefix_.clear();
}

void LogBuffer::clear_tags()
{
    while (newest_tag_ != nullptr) {
        pop_tag();
    }
}

int LogBuffer::sync()
{
    deliver_and_start_over(static_cast<std::size_t>(pptr() - pbase()));
    return 0;
}

LogBuffer::int_type LogBuffer::overflow(int_type character)
{
    auto length = static_cast<std::size_t>(pptr() - pbase());
    if (!traits_type::eq_int_type(character, traits_type::eof())) {
        text_buffer_[length++] = traits_type::to_char_type(character);
    }
    deliver_and_start_over(length);
    return 0;
}

void LogBuffer::deliver_and_start_over(std::size_t length)
{
    if (callback_ != nullptr) {
        deliver({text_buffer_.data(), length});
    }
    if (length == 0) {
        return;
    }
    text_buffer_.fill('\0');
    setp(text_buffer_.data(), epptr());
}

// A line for which there is no memory is lost; the operation that it tells of goes on.
void LogBuffer::deliver(std::string_view text) const
{
    std::string line;
    try {
        line = make_line(text);
    } catch (const std::bad_alloc&) {
        return;
    }
    callback_(line.c_str());
}

std::string LogBuffer::make_line(std::string_view text) const
{
    std::string line;
    if (newest_tag_ != nullptr) {
        for (std::size_t level = 1; level < depth_; ++level) {
            line += ". ";
        }
        line.append(prefix_).append("_").append(newest_tag_->name());
    }
    // One character is the line feed of an empty message.
    if (text.size() >= 2) {
        line.append(TESSIT_LOG_SEPARATOR).append(text);
    }
    return line;
}

Logger::Logger() : std::ostream(nullptr)
{
    rdbuf(&buffer_);
    // Numbers read the same whatever locale the host program has set.
    imbue(std::locale::classic());
}

} // namespace tessit
