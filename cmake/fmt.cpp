// The library fmt for another system: its headers hold all of its source, and each file that is compiled takes half the
// time when it need not compile that source as well. Instantiated is what the headers leave to the library.
#include <fmt/format-inl.h>

FMT_BEGIN_NAMESPACE
namespace detail {

template locale_ref::locale_ref(const std::locale&);
template std::locale locale_ref::get<std::locale>() const;
template thousands_sep_result<char> thousands_sep_impl(locale_ref);
template char decimal_point_impl(locale_ref);
template dragonbox::decimal_fp<float> dragonbox::to_decimal(float) noexcept;
template dragonbox::decimal_fp<double> dragonbox::to_decimal(double) noexcept;

} // namespace detail
FMT_END_NAMESPACE
