// The built programs are as hardened as they are linked to be. Their paths are the arguments.

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "Image.h"

namespace vtdl::tests {
namespace {

std::vector<std::string> files;

std::string ReadAll(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

TEST(ImageTest, EveryProgramIsHardened) {
    ASSERT_FALSE(files.empty());
    for (const std::string& file : files) {
        const Image image(ReadAll(file));
        EXPECT_EQ(image.Weaknesses(), "") << file;
        const std::string manifest = ReadAll(file) + ReadAll(file + ".manifest");
        EXPECT_TRUE(file.ends_with(".dll") || manifest.find("\"asInvoker\"") != manifest.npos)
            << file << ": Windows redirects its writes";
        EXPECT_EQ(image.Is64Bit(), sizeof(void*) == 8) << file;
    }
}

// The reader sees each protection go.
TEST(ImageTest, EveryWeaknessIsSeen) {
    ASSERT_FALSE(files.empty());
    const std::string good = ReadAll(files.front());
    const Image image(good);
    const auto with = [&](std::size_t at, auto change) {
        std::string bytes = good;
        change(bytes.at(at));
        return Image(bytes).Weaknesses();
    };
    const std::size_t flags = image.CharacteristicsAt();
    EXPECT_EQ(with(flags, [](char& byte) { byte &= ~0x40; }), "stays at one address\n");
    EXPECT_EQ(with(flags + 1, [](char& byte) { byte &= ~0x01; }), "may run data\n");
    if (image.Is64Bit()) {
        EXPECT_EQ(with(flags, [](char& byte) { byte &= ~0x20; }), "uses low addresses only\n");
    }
    const auto writable = with(image.Sections().front() + 39, [](char& byte) { byte |= '\x80'; });
    EXPECT_EQ(writable.substr(0, 29), "runs what it can write: .text") << writable;
    const std::size_t guard = good.find("stack smashing detected");
    EXPECT_EQ(with(guard, [](char& byte) { byte = 'x'; }), "does not guard its stack\n");
    EXPECT_THROW(Image(good.substr(0, 200)).Weaknesses(), std::runtime_error);
    EXPECT_THROW(Image("text"), std::runtime_error);
}

}  // namespace
}  // namespace vtdl::tests

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    vtdl::tests::files.assign(argv + 1, argv + argc);
    return RUN_ALL_TESTS();
}
