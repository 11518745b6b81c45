// /cgi-bin/vestora.exe: the quote of one ticker for those who have an account.
#pragma once

#include <string>

#include "DataFolder.h"
#include "Http.h"

namespace quoteserver {

struct Account {
    std::string user;
    std::string password;
};

class AccountService {
public:
    AccountService(DataFolder folder, const Account& account);

    // FIELDS names values with commas in between, TICKER the ticker. The reply is one line of plain
    // values; what is not known is empty. An unknown ticker gets a short text instead, and who is
    // not the account's owner status 401.
    Reply Answer(const Request& request) const;

private:
    DataFolder m_folder;
    std::string m_credentials;
};

}  // namespace quoteserver
