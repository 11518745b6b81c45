#include "XmlFault.h"

#include <algorithm>
#include <vector>

namespace vtdl::host {
namespace {

constexpr std::string_view blanks = " \t\r\n";

class Scanner {
public:
    explicit Scanner(std::string_view text) : m_text(text) {
        if (m_text.starts_with("\xEF\xBB\xBF")) m_text.remove_prefix(3);
    }

    std::string FirstFault() {
        bool hasRoot = false;
        while (m_at < m_text.size()) {
            const std::size_t begin = m_at;
            SkipText();
            if (m_open.empty() && !IsBlank(begin, m_at))
                return At(begin, "text outside of all tags");
            if (const std::size_t bare = BareAmpersand(begin, m_at); bare < m_at)
                return At(bare, "& stands alone; write &amp;");
            if (m_at == m_text.size()) break;
            if (Skip("<!--", "-->") || Skip("<![CDATA[", "]]>") || Skip("<?", "?>") ||
                Skip("<!", ">"))
                continue;
            if (m_open.empty() && hasRoot && !StartsWith("</")) return At(m_at, "a second root");
            hasRoot = true;
            if (std::string fault = TakeTag(); !fault.empty()) return fault;
        }
        if (!m_open.empty())
            return At(m_open.back().at, Tag(m_open.back().name) + " is not closed");
        return hasRoot ? "" : At(0, "no tags");
    }

private:
    struct Open {
        std::string_view name;
        std::size_t at;
    };

    bool StartsWith(std::string_view mark) const { return m_text.substr(m_at).starts_with(mark); }
    void SkipText() { m_at = std::min(m_text.find('<', m_at), m_text.size()); }
    bool IsBlank(std::size_t begin, std::size_t end) const {
        return m_text.substr(begin, end - begin).find_first_not_of(blanks) == m_text.npos;
    }

    // One that ends nowhere takes the rest.
    bool Skip(std::string_view mark, std::string_view end) {
        if (!StartsWith(mark)) return false;
        const std::size_t found = m_text.find(end, m_at + mark.size());
        m_at = found == m_text.npos ? m_text.size() : found + end.size();
        return true;
    }

    std::size_t BareAmpersand(std::size_t begin, std::size_t end) const {
        for (; (begin = m_text.find('&', begin)) < end; ++begin) {
            const std::size_t name = m_text.find_first_not_of(
                "#abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789", begin + 1);
            if (name == m_text.npos || name == begin + 1 || m_text[name] != ';') return begin;
        }
        return end;
    }

    std::string TakeTag() {
        const std::size_t begin = m_at;
        std::size_t end = begin + 1;
        for (char quote = 0; end < m_text.size() && (quote != 0 || m_text[end] != '>'); ++end) {
            const char c = m_text[end];
            if (c == '<') return At(begin, "a tag that does not end, or a quote that is missing");
            if (quote == 0 && (c == '"' || c == '\''))
                quote = c;
            else if (c == quote)
                quote = 0;
        }
        if (end == m_text.size()) return At(begin, "a tag that does not end");
        if (const std::size_t bare = BareAmpersand(begin, end); bare < end)
            return At(bare, "& stands alone; write &amp;");
        m_at = end + 1;
        const bool isClosing = m_text[begin + 1] == '/';
        const std::size_t nameAt = begin + (isClosing ? 2 : 1);
        const std::string_view inside = m_text.substr(nameAt, end - nameAt);
        const std::string_view name = inside.substr(0, inside.find_first_of(" \t\r\n/"));
        if (name.empty()) return At(begin, "a tag without a name; write &lt; for <");
        if (!isClosing) {
            if (!inside.ends_with('/')) m_open.push_back({name, begin});
            return {};
        }
        if (m_open.empty()) return At(begin, Tag(name, "/") + " closes nothing");
        if (m_open.back().name != name)
            return At(begin, Tag(name, "/") + " where " + Tag(m_open.back().name, "/") + " is due");
        m_open.pop_back();
        return {};
    }

    static std::string Tag(std::string_view name, const char* slash = "") {
        return std::string("<").append(slash).append(name) + ">";
    }

    std::string At(std::size_t at, const std::string& what) const {
        const std::string_view before = m_text.substr(0, at);
        const auto line = std::ranges::count(before, '\n') + 1;
        const std::size_t column = at - (before.rfind('\n') + 1) + 1;  // npos + 1 is 0
        return "line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + what;
    }

    std::string_view m_text;
    std::size_t m_at = 0;
    std::vector<Open> m_open;
};

}  // namespace

std::string XmlFault(std::string_view text) { return Scanner(text).FirstFault(); }

}  // namespace vtdl::host
