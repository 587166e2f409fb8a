#include "simulator/run.h"

int main(int argumentCount, char* arguments[])
{
    return Simulator::Run(argumentCount, arguments);
}
