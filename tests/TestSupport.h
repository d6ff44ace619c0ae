#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

// A fresh, empty folder for the running test, inside the build tree.
inline std::string testFolder()
{
    const testing::TestInfo* info = testing::UnitTest::GetInstance()->current_test_info();
    std::filesystem::path dir = std::filesystem::path(TIV_TEST_TMP) /
                                (std::string(info->test_suite_name()) + "." + info->name());
    std::error_code ec;
    std::filesystem::permissions(dir, std::filesystem::perms::owner_all,
                                 std::filesystem::perm_options::add, ec);
    std::filesystem::remove_all(dir, ec);
    std::filesystem::create_directories(dir);
    return dir.string();
}

inline void writeBytes(const std::string& path, const std::string& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), std::streamsize(bytes.size()));
}

inline std::string readBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}
