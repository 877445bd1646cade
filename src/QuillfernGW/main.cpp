#include "QuillfernGW/QuillfernGW.h"

int main(int argc, char** argv)
{
    return Qfn::main(argc, argv);
}
