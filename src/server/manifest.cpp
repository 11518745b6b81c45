// Build tool: writes the manifest of the library as a side-by-side assembly, for hosts that use it
// without registration.
//
//     manifest FILE

#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>

#include "automation/Bstr.h"
#include "automation/ClassTable.h"
#include "automation/TypeInformation.h"

namespace {

using namespace vtdl;

std::string Narrow(const wchar_t* text) {
    std::string narrow;
    for (; *text; ++text) {
        if (*text > L'~' || wcschr(L"<>&\"", *text)) throw std::runtime_error("text to escape");
        narrow += static_cast<char>(*text);
    }
    return narrow;
}

std::string ClassLine(const automation::ClassEntry& entry, const std::string& library) {
    const std::string progId = "vtdl." + Narrow(entry.name);
    return "    <comClass clsid=\"" + Narrow(automation::TextOf(entry.identifier).c_str()) +
           "\" progid=\"" + progId + ".4\" threadingModel=\"Apartment\"\n      tlbid=\"" + library +
           "\" description=\"" + Narrow(entry.description) + "\">\n      <progid>" + progId +
           "</progid>\n    </comClass>\n";
}

std::string Manifest(ITypeLib* library) {
    TLIBATTR* attributes = nullptr;
    automation::Check(library->GetLibAttr(&attributes));
    const std::string identifier = Narrow(automation::TextOf(attributes->guid).c_str());
    const std::string version =
        std::to_string(attributes->wMajorVerNum) + "." + std::to_string(attributes->wMinorVerNum);
    library->ReleaseTLibAttr(attributes);

    std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\n"
        "<assembly xmlns=\"urn:schemas-microsoft-com:asm.v1\" manifestVersion=\"1.0\">\n"
        "  <assemblyIdentity type=\"win32\" name=\"Vestora.VTDL\" version=\"" VTDL_FILE_VERSION
        "\"\n    processorArchitecture=\"";
    text += sizeof(void*) == 8 ? "amd64" : "x86";
    text += "\"/>\n  <file name=\"VTDL33.dll\">\n";
    text += "    <typelib tlbid=\"" + identifier + "\" version=\"" + version +
            "\" helpdir=\"\" resourceid=\"1\"/>\n";
    for (const automation::ClassEntry& entry : automation::ClassTable())
        text += ClassLine(entry, identifier);
    return text + "  </file>\n</assembly>\n";
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 2) throw std::runtime_error("usage: manifest FILE");
    std::ofstream file(argv[1], std::ios::binary);
    file << Manifest(automation::TypeLibrary());
    if (!file.flush()) throw std::runtime_error("the manifest cannot be written");
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "manifest: %s\n", error.what());
    return 1;
} catch (...) {
    std::fprintf(stderr, "manifest: the type library cannot be read\n");
    return 1;
}
