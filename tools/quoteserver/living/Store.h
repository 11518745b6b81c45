// What living sources gave, as a data folder like the user's own, with a note beside each copy of
// where it is from. Deleting the folder is always safe.
#pragma once

#include <boost/interprocess/sync/file_lock.hpp>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "living/Ask.h"

namespace quoteserver::living {

struct Copy {
    Clock::time_point fetched;
    std::string feed, symbol;
    std::size_t dropped = 0;
    std::string first = {};  // day of a history, yyyy-mm-dd
    std::string asked = {};  // the first day that a client asked for, where it is an earlier one
    std::optional<std::chrono::seconds> offset = {};  // of the market's clock, ahead of UTC

    bool operator==(const Copy&) const = default;
};

// Of one thread.
class Store {
public:
    // Makes the folder, and clears away what killed programs left unfinished.
    explicit Store(std::filesystem::path folder);

    const std::filesystem::path& Folder() const { return m_folder; }

    // The copy of what was asked, unless there is none or its file is gone.
    std::optional<Copy> Find(const Ask& ask);

    // Whether its table is not as it was written.
    bool IsEdited(const Ask& ask);

    // Replaces a copy. A file that is not as it was written belongs to the user: it stays, and the
    // sentence that says so is returned. Throws std::runtime_error when files cannot be written.
    std::string Save(const Ask& ask, const Outcome& outcome, Clock::time_point now);

    // Clients asked for earlier days than the copy has: an older share may have had the ticker.
    void NoteAsked(const Ask& ask, const std::string& day);

    // Every copy there is; what cannot be read is left out.
    std::map<Ask, Copy> All() const;

    // What outlives the program: until when each feed cools down.
    void SaveCoolDowns(const std::map<std::string, Clock::time_point>& until);
    std::map<std::string, Clock::time_point> CoolDowns() const;

private:
    std::filesystem::path NoteOf(const Ask& ask) const;

    std::filesystem::path m_folder;
    boost::interprocess::file_lock m_lock;  // two servers on one folder save one after the other
    std::map<Ask, std::optional<Copy>> m_copies;  // what was read of the notes so far
};

}  // namespace quoteserver::living
