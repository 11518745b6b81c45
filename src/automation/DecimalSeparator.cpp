#include "automation/DecimalSeparator.h"

#include <algorithm>
#include <atomic>

#include "automation/Error.h"
#include "automation/Variant.h"
#include "automation/CodePage.h"
#include "text/Decimal.h"

namespace vtdl {
namespace {

std::atomic<wchar_t> separator = 0;

HRESULT Convert(std::wstring_view text, double& number) {
    // The platform reads up to a zero character, as if the text ended there.
    if (text.find(L'\0') != text.npos) return DISP_E_TYPEMISMATCH;
    std::wstring localised(text);
    std::replace(localised.begin(), localised.end(), L'.', DecimalSeparator());
    return VarR8FromStr(localised.data(), LOCALE_USER_DEFAULT, 0, &number);
}

}  // namespace

void DetermineDecimalSeparator() {
    VARIANT tenth;
    tenth.vt = VT_R8;
    tenth.dblVal = 0.1;
    const automation::Bstr text = automation::ToText(tenth);
    separator = text.view().size() > 1 ? text.view()[1] : L'.';
}

wchar_t DecimalSeparator() {
    if (!separator) DetermineDecimalSeparator();
    return separator;
}

double ConvertNumber(std::wstring_view text, std::wstring_view detail) {
    double number = 0;
    automation::CheckConversion(Convert(text, number), detail);
    return number;
}

std::optional<double> ParseNumber(std::string_view text) {
    const char* const end = text.data() + text.size();
    const text::DecimalRead plain = text::ReadDecimal(text.data(), end);
    if (plain.end == end && !text.empty()) return plain.value;
    double number = 0;
    if (FAILED(Convert(ToWide(text), number))) return std::nullopt;
    return number;
}

}  // namespace vtdl
