#include "sources/CboeForm.h"

#include <utility>

namespace vtdl::cboe {
namespace {

using Field = std::pair<std::string_view, std::string_view>;

constexpr Field commonFields[] = {
    {"ReturnURL", ""},
    {"Command", "login"},
    {"txtUserId", ""},
    {"txtPassword", ""},
    {"chkSaveMe", "on"},
    {"txtRegFirst", ""},
    {"txtRegLast", ""},
    {"txtRegEmailAddr", ""},
    {"txtRegEmailConfirm", ""},
    {"txtRegUserId", ""},
    {"txtRegBirthYear", ""},
    {"txtRegPassword", ""},
    {"txtRegPasswordConfirm", ""},
    {"cbOptIn1", "on"},
    {"cboxSaveInfo", "on"},
    {"txtMessageSE", ""},
    {"txtYourNameAI", ""},
    {"txtYourEmailAI", ""},
    {"txtMessageAI", ""},
};

#define VTDL_CONTENT "ctl00%24ctl00%24AllContent%24"

void AddDownloadFields(std::string& body, std::string_view ticker) {
    AddFormField(body, VTDL_CONTENT "ucHeader%24CBOEHeaderQuoteBox%24txtHeaderQuote", "");
    AddFormField(body, VTDL_CONTENT "ucHeader%24CBOEHeaderSearchBox%24txtHeaderSearch", "");
    AddFormField(body, VTDL_CONTENT "ContentMain%24QuoteTableDownloadCtl1%24txtTicker", ticker);
    // The button's caption runs into a request line; the service wants it exactly so.
    AddFormField(body, VTDL_CONTENT "ContentMain%24QuoteTableDownloadCtl1%24cmdSubmit",
                 "DownloadGET /DelayedQuote/QuoteData.dat HTTP/1.1");
}

// The quote box has a "uc" in its name here and not in the download form; on purpose.
void AddLookupFields(std::string& body, std::string_view ticker) {
    AddFormField(body, VTDL_CONTENT "ucHeader%24ucCBOEHeaderQuoteBox%24txtHeaderQuote", "Quote");
    AddFormField(body, VTDL_CONTENT "ucHeader%24CBOEHeaderSearchBox%24txtHeaderSearch", "Search");
    AddFormField(body, VTDL_CONTENT "ContentMain%24ucSymbolCtl%24txtCompany", ticker);
    AddFormField(body, VTDL_CONTENT "ContentMain%24ucSymbolCtl%24btnSubmit", "Get+Symbol");
    AddFormField(body, VTDL_CONTENT "ContentMain%24ucSymbolCtl%24SrchType", "Begins");
}

#undef VTDL_CONTENT

void AppendFilled(std::string& text, std::string_view head, std::size_t length,
                  std::string_view tail) {
    constexpr std::string_view filling = "dDwtMTM0NTY3ODkwOzs";
    const std::size_t end = text.size() + length - tail.size();
    text += head;
    while (text.size() < end) text += filling.substr(0, end - text.size());
    text += tail;
}

void ReplaceAll(std::string& text, char what, std::string_view with) {
    for (std::size_t at = text.find(what); at != std::string::npos;
         at = text.find(what, at + with.size()))
        text.replace(at, 1, with);
}

}  // namespace

std::string BuiltInState(bool isLookupForm) {
    std::string state;
    AppendFilled(state, "%2FwEPDwU", isLookupForm ? 8244 : 7854, "");
    state += "&__EVENTVALIDATION=";
    AppendFilled(state, "%2FwEW", isLookupForm ? 690 : 670, "%3D%3D");
    return state;
}

std::string BuildFormBody(bool isLookupForm, std::string_view ticker, std::string_view state) {
    std::string body;
    AddFormField(
        body, "__EVENTTARGET",
        isLookupForm ? "ctl00%3Actl00%3AAllContent%3AContentMain%3AucSymbolCtl%3AbtnSubmit" : "");
    AddFormField(body, "__EVENTARGUMENT", "");
    AddFormField(body, "__VIEWSTATE", state);
    for (const auto& [name, value] : commonFields) AddFormField(body, name, value);
    if (isLookupForm)
        AddLookupFields(body, ticker);
    else
        AddDownloadFields(body, ticker);
    return body;
}

void AddFormField(std::string& body, std::string_view name, std::string_view value) {
    if (!body.empty()) body += '&';
    body.append(name).append("=").append(value);
}

std::string EncodeParam(std::string_view text) {
    std::string encoded(text);
    ReplaceAll(encoded, '+', "%2B");
    ReplaceAll(encoded, '=', "%3D");
    ReplaceAll(encoded, ':', "%3A");
    return encoded;
}

}  // namespace vtdl::cboe
