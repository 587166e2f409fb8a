#include "platform/toolbox/mdnsbrowser.h"

int main(int argc, char** argv)
{
    return RunMdnsBrowser(argc, argv);
}
