#include "Services.h"

#include <gtest/gtest.h>

namespace vtdl::host {
namespace {

TEST(Services, SettingsThatDoNotCountAreTold) {
    const struct {
        Setting setting;
        const char* fault;
    } cases[] = {
        {{"hosts", "yahoo.chart", "quotes.example.org:8080"}, ""},
        {{"hosts", "chart3.example.org", "127.0.0.1"}, ""},
        {{"hosts", "yahoo.chrat", "x"}, "is no service; did you mean yahoo.chart?"},
        {{"hosts", "cboe", "http://x"}, "= http://x is no host or host:port"},
        {{"hosts", "cboe", "x:99999"}, "= x:99999 is no host or host:port"},
        {{"http", "timeout", "soon"}, "= soon is not a number of seconds, 1 to 100000; it does not count"},
        {{"http", "total", "60"}, ""},
        {{"http", "strict", "yes"}, "= yes is not 0 or 1; it does not count"},
        {{"http", "timeuot", "5"}, "is no setting; did you mean timeout?"},
        {{"errorhandler", "actions", "99"},
         "= 99 is not a sum of 1, 2, 4 and 8; it does not count"},
        {{"errorhandler", "callstack", "perhaps"},
         "= perhaps is not True or False; it does not count"},
        {{"errorhandler", "callstack", "false"}, ""},
        {{"errorhandler", "supportmail", ""}, ""},
        {{"htpp", "timeout", "5"}, "is in no section of the library; did you mean HTTP?"},
        {{"yahoohist/parameters", "name", "x"}, ""},
        {{"my program", "colour", "red"}, ""},
        {{"HOSTS", "", ""}, "is not in lower case, and is never read"},
        {{"http", "Strict", ""}, "is not in lower case, and is never read"},
    };
    for (const auto& test : cases) {
        const auto faults = SettingsFaults({test.setting});
        EXPECT_EQ(
            faults.empty() ? "" : faults[0],
            *test.fault ? test.setting.section + "/" + test.setting.key + " " + test.fault : "");
    }
}

}  // namespace
}  // namespace vtdl::host
