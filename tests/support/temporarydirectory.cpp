#include "tests/support/temporarydirectory.h"

#include <stdlib.h>

#include <fstream>
#include <stdexcept>

CTemporaryDirectory::CTemporaryDirectory()
{
    std::string name = "/tmp/wbXXXXXX";
    if (mkdtemp(name.data()) == nullptr)
    {
        throw std::runtime_error("Cannot make a directory like " + name);
    }
    path = name;
}

CTemporaryDirectory::~CTemporaryDirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

void CTemporaryDirectory::Write(const std::string& file, const std::string& contents) const
{
    const std::filesystem::path target = path / file;
    std::filesystem::create_directories(target.parent_path());
    std::ofstream stream(target, std::ios::binary);
    stream << contents;
    if (!stream.flush())
    {
        throw std::runtime_error("Cannot write " + target.string());
    }
}
