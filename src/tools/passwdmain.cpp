#include "src/tools/passwd.h"

#include <iostream>

int main(int argc, char** argv)
{
    return RunPasswd(argc, argv, std::cin, std::cout, std::cerr);
}
