// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Text streams, standard error and notices as another program sees them: in files and in single writes.

#include "platform/platform.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "platform/character_class.h"
#include "platform/wide_format.h"
#include "support/german_locale.h"

namespace {

namespace fs = std::filesystem;

class TextStreams : public testing::Test {
protected:
    TextStreams() {
        std::string name = fs::temp_directory_path() / "ullage_platform_XXXXXX";
        folder = mkdtemp(name.data());
    }
    ~TextStreams() override { fs::remove_all(folder); }

    fs::path folder;
};

std::string content(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Write the texts through one stream and give what the file holds after the close.
std::string written(const fs::path &path, const std::vector<std::u16string> &texts) {
    TextStream *stream = text_stream_open(path.u16string().c_str());
    EXPECT_NE(stream, nullptr);
    if (stream == nullptr) return {};
    for (const std::u16string &text : texts) text_stream_write(stream, text);
    text_stream_close(stream);
    return content(path);
}

// Standard error as a socket that keeps the borders of the single writes.
class StandardErrorWrites {
public:
    StandardErrorWrites() {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends_), 0);
        saved_ = dup(STDERR_FILENO);
        dup2(ends_[1], STDERR_FILENO);
    }
    ~StandardErrorWrites() {
        dup2(saved_, STDERR_FILENO);
        for (const int descriptor : {saved_, ends_[0], ends_[1]}) close(descriptor);
    }

    std::vector<std::string> read() {
        std::vector<std::string> writes;
        std::string packet(100000, '\0');
        for (ssize_t size; (size = recv(ends_[0], packet.data(), packet.size(), MSG_DONTWAIT)) > 0;) {
            writes.emplace_back(packet, 0, static_cast<std::size_t>(size));
        }
        return writes;
    }

private:
    int ends_[2];
    int saved_;
};

std::string repeated(std::string_view bytes, std::size_t times) {
    std::string all;
    for (std::size_t i = 0; i < times; ++i) all += bytes;
    return all;
}

TEST_F(TextStreams, LongTextsAreWholeWhereverABufferEnds) {
    for (std::size_t shift = 0; shift < 4; ++shift) {
        std::u16string text(shift, u'x');
        for (int i = 0; i < 5000; ++i) text += u"\xD83D\xDE00";
        EXPECT_EQ(written(folder / "log", {text}), std::string(shift, 'x') + repeated("\xF0\x9F\x98\x80", 5000));

        text.assign(shift, u'x');
        for (int i = 0; i < 5000; ++i) text += u"\x20AC\xDE00";
        EXPECT_EQ(written(folder / "log", {text}),
                  std::string(shift, 'x') + repeated("\xE2\x82\xAC\xEF\xBF\xBD", 5000));
    }
}

TEST_F(TextStreams, EachMessageIsConvertedByItself) {
    EXPECT_EQ(written(folder / "log", {u"a\xD83D", u"\xDE00z\n", u"", u"100%s %d\r\n"}),
              "a\xEF\xBF\xBD\xEF\xBF\xBDz\n100%s %d\r\n");
}

TEST_F(TextStreams, OpeningEmptiesTheFileAndWritingIsBuffered) {
    const fs::path path = folder / u"\x00E9\x4E00\xD83D\xDE00.log";
    written(path, {u"old text"});
    TextStream *stream = text_stream_open(path.u16string().c_str());
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(fs::file_size(path), 0u);
    text_stream_write(stream, u"new");
    EXPECT_EQ(fs::file_size(path), 0u) << "a message was flushed";
    text_stream_close(stream);
    EXPECT_EQ(content(path), "new");
    EXPECT_TRUE(fs::exists(folder / "\xC3\xA9\xE4\xB8\x80\xF0\x9F\x98\x80.log"));
}

TEST_F(TextStreams, APathThatCannotBeWrittenGivesNull) {
    const std::u16string inside = folder.u16string();
    const std::u16string paths[] = {
        u"",
        inside,                                     // a folder
        inside + u"/missing/log",                   //
        inside + u"/" + std::u16string(300, u'x'),  // a name above 255 bytes
        inside + std::u16string(5000, u'/') + u"log",
    };
    for (const std::u16string &path : paths) EXPECT_EQ(text_stream_open(path.c_str()), nullptr);
    EXPECT_TRUE(fs::is_empty(folder));

    // The longest path that the system takes has 4095 bytes.
    const std::u16string name = u"log";
    EXPECT_EQ(written(inside + std::u16string(4095 - inside.size() - name.size(), u'/') + name, {u"x"}), "x");
    EXPECT_EQ(text_stream_open((inside + std::u16string(4096 - inside.size() - name.size(), u'/') + name).c_str()),
              nullptr);
}

TEST_F(TextStreams, AFullDeviceIsSwallowed) {
    TextStream *stream = text_stream_open(u"/dev/full");
    ASSERT_NE(stream, nullptr);
    for (int i = 0; i < 3; ++i) text_stream_write(stream, std::u16string(10000, u'x'));
    text_stream_close(stream);
}

TEST(StandardError, AMessageIsOneWriteInOrderWithStdio) {
    std::vector<std::string> writes;
    {
        StandardErrorWrites standard_error;
        std::fputs("before", stderr);
        write_standard_error(u"Error{\x00E9 100%s \xD83D\xDE00 \xD83D}");
        std::fputs("after", stderr);
        write_standard_error(std::u16string(1000, u'\x20AC'));
        show_notice(u"Caption", u"A text with 100% of %s.");
        writes = standard_error.read();
    }
    EXPECT_EQ(writes,
              (std::vector<std::string>{"before", "Error{\xC3\xA9 100%s \xF0\x9F\x98\x80 \xEF\xBF\xBD}", "after",
                                        repeated("\xE2\x82\xAC", 1000), "Caption: A text with 100% of %s.\n"}));
}

TEST(StandardError, ALongNoticeIsWhole) {
    testing::internal::CaptureStderr();
    show_notice(std::u16string(5000, u'c').c_str(), std::u16string(9000, u't').c_str());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string(5000, 'c') + ": " + std::string(9000, 't') + "\n");
}

TEST_F(TextStreams, TheLocaleChangesNoByte) {
    const GermanLocale locale;
    if (!locale.available()) GTEST_SKIP() << "localedef cannot make de_DE.ISO-8859-1; install the package \"locales\"";

    char16_t number[20];
    format_wide(number, 20, u"%d \x00E4\x20AC", {std::int32_t{-1234567}});
    EXPECT_EQ(written(folder / u"\x00E4", {number}), "-1234567 \xC3\xA4\xE2\x82\xAC");
    EXPECT_TRUE(fs::exists(folder / "\xC3\xA4"));
    testing::internal::CaptureStderr();
    write_standard_error(number);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "-1234567 \xC3\xA4\xE2\x82\xAC");
    EXPECT_TRUE(is_letter_or_digit(u'\x4E00'));
    EXPECT_FALSE(is_letter_or_digit(u'\x00B2'));
}

}  // namespace
