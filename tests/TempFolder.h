// A folder of its own for one test, removed with all it holds when the test ends.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

class TempFolder
{
  public:
    TempFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "lumoTest.XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
            std::abort();
        m_path = name;
    }

    ~TempFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    TempFolder(const TempFolder &) = delete;
    TempFolder &operator=(const TempFolder &) = delete;

    // Full name of an entry; the folder's own path for an empty name. Without a trailing slash.
    std::string path(const std::string &name = "") const { return name.empty() ? m_path : m_path + "/" + name; }

    void write(const std::string &name, const std::string &content) const
    {
        std::ofstream(path(name), std::ios::binary) << content;
    }

    std::string read(const std::string &name) const
    {
        std::ifstream file(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    bool holds(const std::string &name) const { return std::filesystem::exists(path(name)); }

  private:
    std::string m_path;
};
