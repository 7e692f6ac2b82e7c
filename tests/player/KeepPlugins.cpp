// Plugins stay loaded, so that the report of leaks can tell whose a block is.
extern "C" int dlclose(void* /*handle*/)
{
    return 0;
}
