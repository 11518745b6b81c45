#include "Commands.h"
#include "Console.h"
#include "Formats.h"
#include "Host.h"
#include "Parameters.h"
#include "Services.h"

namespace vtdl::host {
namespace {

std::string KindsText(unsigned kinds) {
    static constexpr std::pair<unsigned, const char*> words[] = {
        {vtdlPriceDataTypeStocks, "stocks"},
        {vtdlPriceDataTypeFutures, "futures"},
        {vtdlPriceDataTypeOptions, "options"},
        {vtdlPriceDataTypeVolatility, "volatility"},
        {vtdlPriceDataTypeIndicies, "indices"},
        {vtdlPriceDataTypeDividends, "dividends"},
        {vtdlPriceDataTypeCommodities, "commodities"},
        {vtdlPriceDataTypeCurrency, "currency"},
        {vtdlPriceDataTypeHistorical, "historical"},
        {vtdlPriceDataTypeRealtime, "real-time"},
        {vtdlPriceDataTypeOptionsByUnderlying, "by underlying"},
        {vtdlPriceDataTypeOptionsByTicker, "by ticker"},
    };
    std::vector<std::string> names;
    if ((kinds & vtdlPriceDataAny) == vtdlPriceDataAny) {
        names.push_back("any");
        kinds &= ~static_cast<unsigned>(vtdlPriceDataAny);
    }
    for (const auto& [bit, word] : words)
        if (kinds & bit) names.push_back(word);
    return Joined(names);
}

const char* TypeName(vtdlDataType type) {
    switch (type) {
        case vtdlDataTypeDate:
            return "date";
        case vtdlDataTypeDecimal:
            return "number";
        case vtdlDataTypeString:
            return "text";
        case vtdlDataTypeLong:
            return "whole number";
        default:
            return "";
    }
}

std::string ValueText(_CParameter* parameter,
                      HRESULT (STDMETHODCALLTYPE _CParameter::*getter)(VARIANT*)) {
    Variant value;
    Check((parameter->*getter)(value.put()), "reading a parameter");
    return FormatValue(ToValue(value.get()));
}

// Listings hold texts, also where those are numbers.
void AddRow(Block& block, std::vector<std::string> texts) {
    for (std::size_t i = 0; i < texts.size(); ++i)
        block.columns[i].values.emplace_back(std::move(texts[i]));
}

Block SessionParameters(const Session& session) {
    Block block{"", {{"NAME", {}}, {"TYPE", {}}, {"VALUE", {}}, {"DEFAULT", {}}, {"CHOICES", {}}}};
    for (const auto& parameter : session.Parameters()) {
        const Parameter description = Describe(parameter.get());
        AddRow(block, {description.name, TypeName(description.type),
                       ValueText(parameter.get(), &_CParameter::get_Value),
                       ValueText(parameter.get(), &_CParameter::get_DefaultValue),
                       Joined(description.choices)});
    }
    return block;
}

Block OwnParameters(_CDataSource* source) {
    Block block{"", {{"NAME", {}}, {"VALUE", {}}}};
    for (const auto& parameter : host::OwnParameters(source, "reading the source's parameters")) {
        const std::string name = TextOf(parameter.get(), &_CParameter::get_Name);
        const std::string value = ValueText(parameter.get(), &_CParameter::get_Value);
        const bool isSecret = SameName(name, "PASSWORD") && !value.empty();
        AddRow(block, {name, isSecret ? "(set)" : value});
    }
    return block;
}

Block Columns(_CDataSource* source) {
    ComPtr<_CDataFields> fields;
    Check(source->get_DataFields(fields.put()), "reading the source's columns");
    Block block{"", {{"NAME", {}}, {"TYPE", {}}}};
    if (!fields) return block;
    for (const auto& field : ItemsOf<_CDataField>(fields.get())) {
        vtdlDataType type{};
        Check(field->get_DataType(&type), "reading a column");
        AddRow(block, {TextOf(field.get(), &_CDataField::get_Name), TypeName(type)});
    }
    return block;
}

std::string Section(const std::string& title, const Block& block, const std::string& none) {
    return "\n" + title + "\n\n" + (block.Rows() > 0 ? TableOf(block) : none + "\n");
}

}  // namespace

void ListSources() {
    const Library library;
    Block block{"", {{"NAME", {}}, {"DESCRIPTION", {}}, {"KINDS", {}}, {"NOTE", {}}}};
    for (const auto& source : library.Sources()) {
        vtdlPriceDataType kinds{};
        Check(source->get_PriceDataType(&kinds), "reading the kinds of prices");
        const std::string name = TextOf(source.get(), &_CDataSource::get_Name);
        AddRow(block, {name, TextOf(source.get(), &_CDataSource::get_Description),
                       KindsText(static_cast<unsigned>(kinds)),
                       HasFormat(name) ? "" : "no download: format not known"});
    }
    Print(TableOf(block));
}

void ListParameters(const std::string& sourceName) {
    const Library library;
    const ComPtr<_CDataSource> source = library.Source(sourceName);
    const std::string name = TextOf(source.get(), &_CDataSource::get_Name);
    const Session session(source.get(), name);
    Print(name + ": " + TextOf(source.get(), &_CDataSource::get_Description) + "\n" +
          Section("Parameters of a download (NAME=VALUE)", SessionParameters(session), "none") +
          Section("Parameters of the source itself (--source-parameter NAME=VALUE)",
                  OwnParameters(source.get()), "none") +
          Section("Columns it announces", Columns(source.get()), "none; a download names them"));
}

}  // namespace vtdl::host
