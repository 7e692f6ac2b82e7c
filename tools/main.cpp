#include "tools/TavolinMain.h"

int main(int argc, char** argv)
{
    return TavolinMain(argc, argv);
}
