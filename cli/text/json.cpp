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
    for (auto& [key, value] : std::get<Object>(object.value_)) {
        (*this)[key] = std::move(value);
    }
}

std::string Json::dump() const
{
    constexpr int indentation = 2;
    return Writer::write(*this).dump(indentation, ' ', false, Writer::Written::error_handler_t::replace);
}

} // namespace tessit::cli
