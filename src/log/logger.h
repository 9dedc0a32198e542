#pragma once

#include "jlinkarm_birch_tessit.h"

#include <array>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

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
class LogBuffer : public IFunctionTagStack, public std::streambuf
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

    /// `tag` stays on the stack until it is popped, and must live until then.
    void push_tag(FunctionTag& tag);
    void pop_tag() override;
    void clear_tags() override;
    std::size_t depth() const { return tags_.size(); }

protected:
    int sync() override;
    int_type overflow(int_type character) override;

private:
    /// More than operations ever nest, so that pushing a tag allocates nothing.
    static constexpr std::size_t most_nested_tags = 32;

    void deliver_and_start_over(std::size_t length);
    void deliver(std::string_view text) const;
    std::string make_line(std::string_view text) const;

    log_callback_t callback_ = nullptr;
    std::array<char, 512> text_buffer_{};
    std::string prefix_;
    std::vector<FunctionTag*> tags_;
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
};

/// Write one message made of these parts, and deliver it.
template <class... Parts>
void log_message(const Parts&... parts)
{
    (logger << ... << parts) << std::endl;
}

} // namespace tessit
