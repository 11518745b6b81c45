// vtdldemo: a small DDE server with the quotes of the sample data.
#include <CLI/CLI.hpp>
#include <iostream>

#include "Service.h"

namespace {

constexpr const char* notes = R"(
Examples:
  vtdldemo                          the newest row of each file of samples\data
  vtdldemo --live                   the same, and LAST, HIGH, LOW and VOLUME change each second
Then, in a spreadsheet:   =VTDLDEMO|MSFT!LAST
and with the library:     vtdl get DDE SERVICE=VTDLDEMO TOPIC=MSFT ITEM=LAST TYPE=REQUEST

The movements of --live are made up. They are no prices, neither of today nor of any other day.)";

struct Settings {
    std::string data = "samples/data";
    std::string service = "VTDLDEMO";
    bool isLive = false;
};

DWORD mainThread = 0;

BOOL WINAPI OnControl(DWORD) { return PostThreadMessageW(mainThread, WM_QUIT, 0, 0); }

void Run(const Settings& settings) {
    demo::Quotes quotes{quoteserver::DataFolder(settings.data)};
    demo::Service service(settings.service, quotes);
    mainThread = GetCurrentThreadId();
    SetConsoleCtrlHandler(OnControl, TRUE);
    std::cout << "vtdldemo: serving " << settings.data << " as " << settings.service
              << (settings.isLive ? ", with made-up movements" : "") << std::endl;
    if (settings.isLive) SetTimer(nullptr, 0, 1000, nullptr);
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        if (message.message == WM_TIMER && !message.hwnd) service.Move();
        DispatchMessageW(&message);
    }
}

}  // namespace

int main(int argc, char** argv) {
    Settings settings;
    CLI::App app("Serves the sample data's newest prices by DDE: topic = ticker, item = field.",
                 "vtdldemo");
    app.footer(notes);
    app.set_version_flag("--version", "vtdldemo " VTDL_VERSION);
    app.add_option("--data", settings.data, "Folder of data files, one a ticker")
        ->capture_default_str();
    app.add_option("--service", settings.service, "Name of the service")->capture_default_str();
    app.add_flag("--live", settings.isLive, "Make up small movements each second");
    try {
        app.parse(argc, argv);
        Run(settings);
        return 0;
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    } catch (const std::exception& error) {
        std::cerr << "vtdldemo: " << error.what() << '\n';
        return 1;
    }
}
