#include "OptionService.h"

#include <optional>
#include <string>
#include <utility>

namespace quoteserver {

OptionService::OptionService(DataFolder folder) : m_folder(std::move(folder)) {}

Reply OptionService::Answer(const Request& request) const {
    const Query form(request.body);
    const std::string ticker(form.valueOfKeyEnding("txtTicker"));
    if (std::optional<DataFile> file = m_folder.Options(ticker)) {
        return {200, "application/x-unknown", std::move(file->text)};
    }
    return {200, "text/html",
            "<!DOCTYPE html>\n<html><head><title>Quote Table Download</title></head>\n"
            "<body><p>The symbol you entered could not be found. Please enter another one.</p>"
            "</body></html>\n"};
}

}  // namespace quoteserver
