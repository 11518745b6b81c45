#include "support/DecimalSeparator.h"

#include <algorithm>

#include "automation/Error.h"
#include "automation/Variant.h"

namespace vtdl {
namespace {

wchar_t separator = 0;

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
    std::wstring localised(text);
    std::replace(localised.begin(), localised.end(), L'.', DecimalSeparator());
    double number = 0;
    automation::CheckConversion(VarR8FromStr(localised.data(), LOCALE_USER_DEFAULT, 0, &number),
                                detail);
    return number;
}

}  // namespace vtdl
