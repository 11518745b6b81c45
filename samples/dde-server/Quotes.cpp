#include "Quotes.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <stdexcept>

#include "Rows.h"

namespace demo {

std::string UpperCase(std::string_view text) {
    std::string upper(text);
    for (char& c : upper)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return upper;
}

Quote::Quote(std::string_view rows) {
    const std::vector<quoteserver::Row> parsed =
        quoteserver::ParseRows(rows, quoteserver::priceLayout);
    if (parsed.empty()) throw std::runtime_error("there are no rows");
    std::string_view rest = parsed.front().values;
    quoteserver::AppendDate(m_fields["DATE"], parsed.front().date, quoteserver::DateForm::Iso);
    for (const char* name : {"OPEN", "HIGH", "LOW", "CLOSE", "VOLUME", "ADJCLOSE"})
        m_fields[name] = std::string(quoteserver::TakeField(rest, ','));
    m_fields["LAST"] = m_fields["CLOSE"];
}

std::optional<std::string> Quote::Field(std::string_view name) const {
    const auto found = m_fields.find(UpperCase(name));
    return found == m_fields.end() ? std::nullopt : std::optional(found->second);
}

std::vector<std::string> Quote::Move(Random& random) {
    const auto number = [&](const char* name) {
        return std::strtod(m_fields[name].c_str(), nullptr);
    };
    std::uniform_real_distribution step(-0.001, 0.001);
    std::uniform_int_distribution pieces(1, 50);
    const double last = number("LAST") * (1 + step(random));
    std::vector<std::string> changed;
    Set("LAST", last, changed);
    Set("HIGH", std::max(number("HIGH"), last), changed);
    Set("LOW", std::min(number("LOW"), last), changed);
    m_fields["VOLUME"] = std::to_string(std::strtoll(m_fields["VOLUME"].c_str(), nullptr, 10) +
                                        100 * pieces(random));
    changed.push_back("VOLUME");
    return changed;
}

void Quote::Set(const std::string& name, double value, std::vector<std::string>& changed) {
    char text[40];
    std::snprintf(text, sizeof text, "%.2f", value);
    if (m_fields[name] == text) return;
    m_fields[name] = text;
    changed.push_back(name);
}

Quote* Quotes::Find(std::string_view ticker) {
    const std::string name = UpperCase(ticker);
    if (const auto known = m_known.find(name); known != m_known.end()) return &known->second;
    if (!quoteserver::IsTicker(name)) return nullptr;
    try {
        const auto file = m_folder.Prices(name);
        return file ? &m_known.emplace(name, Quote(file->text)).first->second : nullptr;
    } catch (const std::exception& error) {
        std::cerr << "vtdldemo: " << name << ": " << error.what() << '\n';
        return nullptr;
    }
}

}  // namespace demo
