#include "support/DecimalSeparator.h"

#include <algorithm>

#include "automation/Variant.h"
#include "automation/Error.h"

namespace vtdl {
namespace {

wchar_t separator = 0;

}  // namespace

void determineDecimalSeparator() {
    VARIANT tenth;
    tenth.vt = VT_R8;
    tenth.dblVal = 0.1;
    const automation::Bstr text = automation::toText(tenth);
    separator = text.view().size() > 1 ? text.view()[1] : L'.';
}

wchar_t decimalSeparator() {
    if (!separator) determineDecimalSeparator();
    return separator;
}

double convertNumber(std::wstring_view text, std::wstring_view detail) {
    std::wstring localised(text);
    std::replace(localised.begin(), localised.end(), L'.', decimalSeparator());
    double number = 0;
    automation::checkConversion(VarR8FromStr(localised.data(), LOCALE_USER_DEFAULT, 0, &number),
                                detail);
    return number;
}

}  // namespace vtdl
