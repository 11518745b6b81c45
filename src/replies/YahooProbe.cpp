#include "replies/YahooProbe.h"

#include <algorithm>

#include "text/Ascii.h"

namespace vtdl::replies {
namespace {

constexpr std::string_view lineEnds = "\r\n";
constexpr std::size_t none = std::string_view::npos;

bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool IsSmallLetter(char c) { return c >= 'a' && c <= 'z'; }
bool IsWordCharacter(char c) {
    return text::IsDigit(c) || IsSmallLetter(text::LowerCase(c)) || c == '_';
}
bool IsDecimal(char c) { return text::IsDigit(c) || c == '.'; }
bool IsHostCharacter(char c) { return IsWordCharacter(c) || c == '.'; }

/// Takes what a line begins with. No two neighbouring parts of a line share a character, so that
/// the longest piece is the only one that can be right.
class Scanner {
public:
    Scanner(std::string_view text, std::size_t position) : m_text(text), m_position(position) {}

    std::size_t Position() const { return m_position; }

    /// One or more characters of a kind; empty when there is none.
    std::string_view Take(bool (*isOfKind)(char)) {
        const std::size_t start = m_position;
        while (m_position < m_text.size() && isOfKind(m_text[m_position])) ++m_position;
        return m_text.substr(start, m_position - start);
    }

    bool Skip(std::string_view word) {
        if (!m_text.substr(m_position).starts_with(word)) return false;
        m_position += word.size();
        return true;
    }

private:
    std::string_view m_text;
    std::size_t m_position;
};

bool IsDailyRow(std::string_view line) {
    Scanner row(line, 0);
    if (row.Take(text::IsDigit).empty() || !row.Skip("-") || row.Take(IsWordCharacter).empty() ||
        !row.Skip("-") || row.Take(text::IsDigit).empty())
        return false;
    for (const auto isOfKind :
         {IsDecimal, IsDecimal, IsDecimal, IsDecimal, text::IsDigit, IsDecimal})
        if (!row.Skip(",") || row.Take(isOfKind).empty()) return false;
    return row.Position() == line.size();
}

/// Where the comment's end closes a line between two places; none when it does nowhere.
std::size_t FindCommentEnd(std::string_view text, std::size_t first, std::size_t last) {
    constexpr std::string_view mark = "-->";
    text = text.substr(0, last);
    for (std::size_t at = text.find(mark, first); at != none; at = text.find(mark, at + 1)) {
        const std::size_t end = at + mark.size();
        if (end == last || text[end] == '\r') return at;
    }
    return none;
}

}  // namespace

long YahooReplyValidityIndex(std::string_view reply) {
    constexpr std::string_view header = "date,open";
    if (!text::EqualsIgnoringCase(reply.substr(0, header.size()), header)) return -1;
    long score = 0;
    for (;;) {
        const std::size_t end = reply.find_first_of(lineEnds);
        if (IsDailyRow(reply.substr(0, end))) ++score;
        if (end == none) return score;
        reply.remove_prefix(end + 1);
    }
}

std::optional<ServerFamily> FindServerFamily(std::string_view reply) {
    std::size_t searched = 0;  // up to here no line is closed by the end of a comment
    for (std::size_t start = 0; start < reply.size();) {
        Scanner comment(reply, start);
        const std::size_t lineEnd = reply.find_first_of(lineEnds, start);
        start = lineEnd == none ? reply.size() : lineEnd + 1;
        if (!comment.Skip("<!--") || comment.Take(IsBlank).empty()) continue;
        const std::string_view letters = comment.Take(IsSmallLetter);
        if (letters.empty() || comment.Take(text::IsDigit).empty() || !comment.Skip(".")) continue;
        const std::string_view domain = comment.Take(IsHostCharacter);
        const std::string_view blanks = comment.Take(IsBlank);
        if (domain.empty() || blanks.empty()) continue;
        // One blank may be all that separates, unless there are line feeds among them, which the
        // comment's text cannot hold.
        const std::size_t lineFeed = blanks.rfind('\n');
        const std::size_t text =
            comment.Position() - blanks.size() + (lineFeed == none ? 1 : lineFeed + 1);
        if (text < searched) continue;
        searched = std::min(reply.find('\n', text), reply.size());
        if (FindCommentEnd(reply, text + 1, searched) == none) continue;
        return ServerFamily{std::string(letters), std::string(domain)};
    }
    return std::nullopt;
}

}  // namespace vtdl::replies
