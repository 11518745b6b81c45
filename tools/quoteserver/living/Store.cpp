#include "living/Store.h"

#include <algorithm>
#include <boost/interprocess/sync/scoped_lock.hpp>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "DataFolder.h"
#include "WholeFile.h"
#include "living/Json.h"

namespace quoteserver::living {
namespace {

namespace fs = std::filesystem;

constexpr const char* firstSuffix[] = {".csv", ".quote.csv", ".options.csv", ".futures.csv",
                                       ".list.csv"};
constexpr std::string_view noteEnd = ".from.json";

std::optional<std::string> ReadText(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(in), {}};
    return in.is_open() && !in.bad() ? std::optional(std::move(text)) : std::nullopt;
}

// FNV-1a of 64 bits: it tells an edited file from one as it was written, and guards against nobody.
std::string Mark(const std::string& text) {
    std::uint64_t mark = 14695981039346656037U;
    for (const char c : text) {
        mark = (mark ^ static_cast<unsigned char>(c)) * 1099511628211U;
    }
    return std::to_string(mark);
}

Json ReadNote(const fs::path& file) {
    const std::optional<std::string> text = ReadText(file);
    const Json note = text ? JsonOf(*text) : Json();
    return note.is_object() ? note : Json::object();
}

// Of one file; anybody may have edited the note.
Json MarksOf(const Json& note, const std::string& suffix) {
    const Json::json_pointer place = Json::json_pointer("/marks") / suffix;
    return note.contains(place) && note.at(place).is_array() ? note.at(place) : Json::array();
}

std::optional<Copy> CopyOf(const Json& note) {
    try {
        return Copy{Clock::from_time_t(note.at("fetched").get<std::time_t>()),
                    note.at("feed").get<std::string>(),
                    note.at("symbol").get<std::string>(),
                    note.at("dropped").get<std::size_t>(),
                    note.value("first", ""),
                    note.value("asked", ""),
                    note.contains("offset")
                        ? std::optional(std::chrono::seconds(note.at("offset").get<int>()))
                        : std::nullopt};
    } catch (const Json::exception&) {
        return std::nullopt;
    }
}

std::string NoteText(const Ask& ask, const Copy& copy, const Json& marks) {
    Json note{{"ticker", ask.ticker},
              {"kind", NameOf(ask.kind)},
              {"feed", copy.feed},
              {"symbol", copy.symbol},
              {"fetched", Clock::to_time_t(copy.fetched)},
              {"dropped", copy.dropped},
              {"first", copy.first},
              {"asked", copy.asked},
              {"marks", marks}};
    if (copy.offset) {
        note["offset"] = copy.offset->count();
    }
    return JsonText(note);
}

bool IsAsNoted(const fs::path& file, const Json& marks) {
    const std::optional<std::string> text = ReadText(file);
    return !text || std::ranges::find(marks, Json(Mark(*text))) != marks.end();
}

}  // namespace

Store::Store(fs::path folder) : m_folder(std::move(folder)) {
    fs::create_directories(m_folder);
    const fs::path lock = m_folder / "lock";
    std::ofstream(lock, std::ios::app).flush();
    m_lock = boost::interprocess::file_lock(lock.string().c_str());
    const boost::interprocess::scoped_lock locked(m_lock);
    for (const auto& entry : fs::directory_iterator(m_folder)) {
        if (entry.path().extension() == temporaryEnd) {
            std::error_code error;
            fs::remove(entry.path(), error);
        }
    }
}

fs::path Store::NoteOf(const Ask& ask) const {
    return m_folder / (FileNameOf(ask.ticker) + "." + NameOf(ask.kind) + std::string(noteEnd));
}

std::optional<Copy> Store::Find(const Ask& ask) {
    const auto [copy, isNew] = m_copies.try_emplace(ask);
    if (isNew) {
        copy->second = CopyOf(ReadNote(NoteOf(ask)));
    }
    const fs::path file =
        m_folder / (FileNameOf(ask.ticker) + firstSuffix[static_cast<int>(ask.kind)]);
    std::error_code error;
    return copy->second && fs::exists(file, error) ? copy->second : std::nullopt;
}

bool Store::IsEdited(const Ask& ask) {
    const boost::interprocess::scoped_lock locked(m_lock);
    const char* suffix = firstSuffix[static_cast<int>(ask.kind)];
    return !IsAsNoted(m_folder / (FileNameOf(ask.ticker) + suffix),
                      MarksOf(ReadNote(NoteOf(ask)), suffix));
}

// First the note learns the new marks beside the old ones: whatever the program's end leaves of the
// files, they count as written by it.
std::string Store::Save(const Ask& ask, const Outcome& outcome, Clock::time_point now) {
    const boost::interprocess::scoped_lock locked(m_lock);
    fs::create_directories(m_folder);  // somebody may have deleted it meanwhile
    const fs::path note = NoteOf(ask);
    const Json old = ReadNote(note);
    const std::optional<Copy> before = CopyOf(old);
    const Copy copy{now,
                    outcome.feed,
                    outcome.symbol,
                    outcome.dropped,
                    outcome.first,
                    before && before->asked < outcome.first ? before->asked : "",
                    outcome.offset};
    Json between = old, oldMarks = Json::object(), marks = Json::object();
    for (const auto& [suffix, text] : outcome.files) {
        oldMarks[suffix] = MarksOf(old, suffix);
    }
    between["marks"] = oldMarks;
    for (const auto& [suffix, text] : outcome.files) {
        const fs::path file = m_folder / (FileNameOf(ask.ticker) + suffix);
        if (!IsAsNoted(file, oldMarks.at(suffix))) {
            // It is the user's own from now on, and as good as new.
            WriteWhole(note, NoteText(ask, copy, oldMarks));
            m_copies[ask] = copy;
            return file.string() + " was edited, and stays as it is";
        }
        marks[suffix] = Json::array({Mark(text)});
        between["marks"][suffix].push_back(Mark(text));
    }
    WriteWhole(note, JsonText(between));
    for (const auto& [suffix, text] : outcome.files) {
        WriteWhole(m_folder / (FileNameOf(ask.ticker) + suffix), text);
    }
    WriteWhole(note, NoteText(ask, copy, marks));
    m_copies[ask] = copy;
    return {};
}

void Store::NoteAsked(const Ask& ask, const std::string& day) {
    const boost::interprocess::scoped_lock locked(m_lock);
    Json note = ReadNote(NoteOf(ask));
    note["asked"] = day;
    WriteWhole(NoteOf(ask), JsonText(note));
    m_copies[ask]->asked = day;
}

std::map<Ask, Copy> Store::All() const {
    std::map<Ask, Copy> copies;
    for (const auto& entry : fs::directory_iterator(m_folder)) {
        if (!entry.path().string().ends_with(noteEnd)) {
            continue;
        }
        const Json note = ReadNote(entry.path());
        const std::optional<Copy> copy = CopyOf(note);
        const auto kind = std::ranges::find(kindNames, note.value("kind", ""),
                                            [](const char* name) { return std::string(name); });
        if (copy && kind != std::end(kindNames)) {
            copies[{static_cast<Kind>(kind - kindNames), note.value("ticker", "")}] = *copy;
        }
    }
    return copies;
}

void Store::SaveCoolDowns(const std::map<std::string, Clock::time_point>& until) {
    const boost::interprocess::scoped_lock locked(m_lock);
    Json times = Json::object();
    for (const auto& [feed, time] : until) {
        times[feed] = Clock::to_time_t(time);
    }
    WriteWhole(m_folder / "cool-down.json", JsonText(times));
}

std::map<std::string, Clock::time_point> Store::CoolDowns() const {
    std::map<std::string, Clock::time_point> until;
    const Json times = ReadNote(m_folder / "cool-down.json");
    for (const auto& [feed, time] : times.items()) {
        if (time.is_number_integer()) {
            until[feed] = Clock::from_time_t(time.get<std::time_t>());
        }
    }
    return until;
}

}  // namespace quoteserver::living
