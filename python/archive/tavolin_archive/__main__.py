import sys

from tavolin_archive.command import main

if __name__ == "__main__":
    sys.exit(main())
