#pragma once

#include "jlinkarm_birch_tessit.h"

#include <array>
#include <cstddef>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace tessit {

/// The names of the operations in progress, as the operations see them.
class IFunctionTagStack
{
public:
    /// Remove the newest tag; nothing to do when there is none.
    virtual void pop_tag() = 0;
    /// Remove all tags, newest first.
    virtual void clear_tags() = 0;

protected:
    ~IFunctionTagStack() = default;
};

class FunctionTag;

/// Collects what is written to the logger and hands it to the caller's callback, a finished line at each flush.
///
/// Up to 511 characters wait for the flush; one more is stored beside them and sends all 512 off at once, so a long
/// text arrives in pieces and none of it is lost. Without a callback the text is discarded and no line is built.
class LogBuffer final : public IFunctionTagStack, public std::streambuf
{
public:
    LogBuffer();
    ~LogBuffer() override;
    LogBuffer(const LogBuffer&) = delete;
    LogBuffer& operator=(const LogBuffer&) = delete;

    /// Start over with this prefix and callback; the callback may be null.
    void attach_log_callback(std::string_view prefix, log_callback_t callback);
    /// Remove all tags, the callback and the prefix.
    void detach_log_callback();
    bool attached() const { return callback_ != nullptr; }

    /// `tag` stays on the stack until it is popped, and must live until then. Pushing allocates nothing.
    void push_tag(FunctionTag& tag);
    void pop_tag() override;
    void clear_tags() override;
    std::size_t depth() const { return depth_; }

    /// As pubsync, which has nothing to do without a callback and without text.
    void flush();

protected:
    int sync() override;
    int_type overflow(int_type character) override;

private:
    void deliver_and_start_over(std::size_t length);
    void deliver(std::string_view text) const;
    std::string make_line(std::string_view text) const;

    log_callback_t callback_ = nullptr;
    std::array<char, 512> text_buffer_{};
    std::string prefix_;
    FunctionTag* newest_tag_ = nullptr;
    std::size_t depth_ = 0;
};

/// The stream that all code writes its messages to. Messages end with std::endl, which delivers them.
class Logger : public std::ostream
{
public:
    Logger();

    LogBuffer& buffer() { return buffer_; }

private:
    LogBuffer buffer_;
};

/// There is one, from the library's load to its unload.
extern Logger logger;

/// The name of one running operation, on the logger's stack for as long as it lives.
class FunctionTag
{
public:
    /// Push the tag and flush, which delivers the operation's entry line. `name` is a literal.
    explicit FunctionTag(const char* name, LogBuffer& buffer = logger.buffer());
    ~FunctionTag();
    FunctionTag(const FunctionTag&) = delete;
    FunctionTag& operator=(const FunctionTag&) = delete;

    const char* name() const { return name_; }

private:
    friend class LogBuffer;

    const char* name_;
    IFunctionTagStack* stack_ = nullptr; // null once it is off the stack, so that it is popped once
    FunctionTag* older_ = nullptr;       // the next one on the stack
};

// Every operation runs these, so they are here for the compiler to inline.

inline void LogBuffer::push_tag(FunctionTag& tag)
{
    tag.stack_ = this;
    tag.older_ = newest_tag_;
    newest_tag_ = &tag;
    ++depth_;
}

inline void LogBuffer::pop_tag()
{
    if (newest_tag_ == nullptr) {
        return;
    }
    newest_tag_->stack_ = nullptr;
    newest_tag_ = newest_tag_->older_;
    --depth_;
}

inline void LogBuffer::flush()
{
    if (attached() || pptr() != pbase()) {
        sync();
    }
}

inline FunctionTag::FunctionTag(const char* name, LogBuffer& buffer) : name_(name)
{
    buffer.push_tag(*this);
    buffer.flush();
}

inline FunctionTag::~FunctionTag()
{
    if (stack_ != nullptr) {
        stack_->pop_tag();
    }
}

/// Write one message made of these parts, and deliver it.
template <class... Parts>
void log_message(const Parts&... parts)
{
    (logger << ... << parts) << std::endl;
}

} // namespace tessit
