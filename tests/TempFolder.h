// A folder of its own for one test, removed with all it holds when the test ends.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

inline std::string readFile(const std::string &name)
{
    std::ifstream file(name);
    return {std::istreambuf_iterator<char>(file), {}};
}

class TempFolder
{
  public:
    TempFolder() : m_path((std::filesystem::temp_directory_path() / "lumoTest.XXXXXX").string())
    {
        if (mkdtemp(m_path.data()) == nullptr)
            std::abort();
    }
    ~TempFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TempFolder(const TempFolder &) = delete;
    TempFolder &operator=(const TempFolder &) = delete;

    // Full name of an entry; without a name the folder itself, without a trailing slash.
    std::string path(const std::string &name = "") const { return name.empty() ? m_path : m_path + "/" + name; }
    bool holds(const std::string &name) const { return std::filesystem::exists(path(name)); }
    void write(const std::string &name, const std::string &text) const { std::ofstream(path(name)) << text; }
    std::string read(const std::string &name) const { return readFile(path(name)); }

  private:
    std::string m_path;
};
