#include "src/tools/passwd.h"

#include "platform/toolbox/password.h"

#include <exception>
#include <istream>
#include <ostream>
#include <string>
#include <string_view>

namespace
{

constexpr int Success = 0;
constexpr int Failure = 1;
constexpr int WrongCommandLine = 2;

void PrintUsage(std::string_view program, std::ostream& stream)
{
    stream << "usage: " << program
           << " [-h] < PASSWORD\n"
              "Reads a password from standard input, one line without its line feed, and prints the\n"
              "encoded form for \"WebIfManagementPassword\" or \"WebIfPukCode\" of secrets.json.\n"
              "  -h, --help       show this help message and exit\n";
}

int Encode(std::string_view program, std::istream& input, std::ostream& output, std::ostream& errors)
try
{
    std::string password;
    std::getline(input, password);
    if (password.empty())
    {
        errors << program << ": no password on standard input\n";
        return Failure;
    }
    output << Toolbox::CPassword::FromPlainText(password).ToString() << std::endl;
    if (!output)
    {
        errors << program << ": cannot write to standard output\n";
        return Failure;
    }
    return Success;
}
catch (const std::exception& error)
{
    errors << program << ": " << error.what() << '\n';
    return Failure;
}

} // namespace

int RunPasswd(int argc, char** argv, std::istream& input, std::ostream& output, std::ostream& errors)
{
    const std::string_view program = argv[0];
    if (argc == 1)
    {
        return Encode(program, input, output, errors);
    }
    const std::string_view option = argv[1];
    if (argc == 2 && (option == "-h" || option == "--help"))
    {
        PrintUsage(program, output);
        return Success;
    }
    PrintUsage(program, errors);
    return WrongCommandLine;
}
