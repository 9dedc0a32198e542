/// A JSON value, built as a command's report needs it. The library that writes it is seen by json.cpp alone.
#pragma once

#include <array>
#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace tessit::cli {

class Json
{
public:
    using Member = std::pair<std::string, Json>;

    /// null, an empty object, or an empty list, whichever it is used as first.
    Json() = default;
    /// An object: {{"probe", 1}, {"text", "x"}}. Members stay in the order in which they are given.
    Json(std::initializer_list<Member> members);

    Json(std::string text) : value_{std::move(text)} {}
    Json(std::string_view text) : value_{std::string{text}} {}
    Json(const char* text) : value_{std::string{text}} {}
    Json(double number) : value_{number} {}
    // Not for pointers, which would become true.
    template <std::same_as<bool> Bool>
    Json(Bool truth) : value_{truth}
    {
    }
    template <std::integral Integer>
    requires(!std::same_as<Integer, bool>) Json(Integer number) : value_{static_cast<std::int64_t>(number)} {}

    template <typename Item>
    Json(const std::vector<Item>& items) : value_{List(items.begin(), items.end())}
    {
    }
    template <typename Item, std::size_t count>
    Json(const std::array<Item, count>& items) : value_{List(items.begin(), items.end())}
    {
    }
    static Json list();

    /// The member of this name, which is added where there is none yet.
    Json& operator[](std::string_view key);
    /// Adds to a list.
    void push_back(Json item);
    /// Adds the members of another object.
    void append(Json object);

    /// What a text holds; nothing when it is no JSON, or nests too deep to be any of ours.
    static std::optional<Json> parse(std::string_view text);
    /// The member of this name; null where there is none, or no object.
    const Json* find(std::string_view key) const;
    /// Removes the member of this name, if there is one.
    void erase(std::string_view key);
    /// The text or number that it is; an empty one when it is something else.
    std::string text() const;
    double number() const;
    bool is_true() const;

    /// Never throws for the sake of a text: what is not UTF-8 in it, as file names may be, is replaced by U+FFFD.
    std::string dump() const;
    /// The same on one line.
    std::string dump_line() const;

private:
    struct Writer;
    struct Reader;
    using List = std::vector<Json>;
    using Object = std::vector<Member>;

    std::variant<std::monostate, bool, std::int64_t, double, std::string, List, Object> value_;
};

} // namespace tessit::cli
