#include "cli/text/json.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>

namespace tessit::cli {
namespace {

template <typename Wanted, typename Value>
Wanted& become(Value& value)
{
    if (std::holds_alternative<std::monostate>(value)) {
        value = Wanted{};
    }
    return std::get<Wanted>(value);
}

} // namespace

// Turns each kind of value into the JSON library's.
struct Json::Writer
{
    using Written = nlohmann::ordered_json;

    Written operator()(std::monostate) const { return nullptr; }
    Written operator()(const List& items) const
    {
        Written list = Written::array();
        std::ranges::transform(items, std::back_inserter(list), &Writer::write);
        return list;
    }
    Written operator()(const Object& members) const
    {
        Written object = Written::object();
        for (const auto& [key, value] : members) {
            object[key] = write(value);
        }
        return object;
    }
    Written operator()(const auto& plain) const { return plain; }

    static Written write(const Json& json) { return std::visit(Writer{}, json.value_); }
};

Json::Json(std::initializer_list<Member> members) : value_{Object(members.begin(), members.end())} {}

Json Json::list()
{
    Json json;
    json.value_ = List{};
    return json;
}

Json& Json::operator[](std::string_view key)
{
    auto& members = become<Object>(value_);
    const auto found = std::ranges::find(members, key, &Member::first);
    return found != members.end() ? found->second : members.emplace_back(std::string{key}, Json{}).second;
}

void Json::push_back(Json item)
{
    become<List>(value_).push_back(std::move(item));
}

void Json::append(Json object)
{
    for (auto& [key, value] : become<Object>(object.value_)) {
        (*this)[key] = std::move(value);
    }
}

struct Json::Reader
{
    // NOLINTNEXTLINE(misc-no-recursion): the depth is bounded
    static Json read(const Writer::Written& written, int depth = 0)
    {
        constexpr int deepest = 16;
        if (depth > deepest) {
            throw std::runtime_error{"nested too deep"};
        }
        Json json;
        switch (written.type()) {
        case Writer::Written::value_t::object:
            json.value_ = Object{};
            for (const auto& [key, value] : written.items()) {
                json[key] = read(value, depth + 1);
            }
            return json;
        case Writer::Written::value_t::array:
            json.value_ = List{};
            for (const auto& item : written) {
                json.push_back(read(item, depth + 1));
            }
            return json;
        case Writer::Written::value_t::string:
            return Json{written.get<std::string>()};
        case Writer::Written::value_t::boolean:
            return Json{written.get<bool>()};
        case Writer::Written::value_t::number_integer:
        case Writer::Written::value_t::number_unsigned:
            return Json{written.get<std::int64_t>()};
        case Writer::Written::value_t::number_float:
            return Json{written.get<double>()};
        default:
            return json;
        }
    }
};

std::optional<Json> Json::parse(std::string_view text)
{
    try {
        return Reader::read(Writer::Written::parse(text));
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

const Json* Json::find(std::string_view key) const
{
    const auto* const members = std::get_if<Object>(&value_);
    if (members == nullptr) {
        return nullptr;
    }
    const auto found = std::ranges::find(*members, key, &Member::first);
    return found == members->end() ? nullptr : &found->second;
}

void Json::erase(std::string_view key)
{
    if (auto* const members = std::get_if<Object>(&value_)) {
        std::erase_if(*members, [key](const Member& member) { return member.first == key; });
    }
}

std::string Json::text() const
{
    const auto* const text = std::get_if<std::string>(&value_);
    return text == nullptr ? "" : *text;
}

double Json::number() const
{
    if (const auto* const whole = std::get_if<std::int64_t>(&value_)) {
        return static_cast<double>(*whole);
    }
    const auto* const real = std::get_if<double>(&value_);
    return real == nullptr ? 0 : *real;
}

bool Json::is_true() const
{
    const auto* const truth = std::get_if<bool>(&value_);
    return truth != nullptr && *truth;
}

std::string Json::dump() const
{
    constexpr int indentation = 2;
    return Writer::write(*this).dump(indentation, ' ', false, Writer::Written::error_handler_t::replace);
}

std::string Json::dump_line() const
{
    return Writer::write(*this).dump(-1, ' ', false, Writer::Written::error_handler_t::replace);
}

} // namespace tessit::cli
