#include "tools/vardoscan/usage.h"

const char* usage()
{
    return R"(Usage: vardoscan [options] PATH...
       vardoscan [options] --memory
       vardoscan [options] --schedule=ID | --missed | --list-schedules
       vardoscan [options] --forget
Scans files and directories, or the running processes, for viruses.

What is done about infected files:
      --action=log|delete|rename|quarantine
                               log, the default, changes nothing
      --quarantine-dir=DIR     where to quarantine
      --rename-extension=EXT   of renamed files, by default qst

What is scanned; the configuration file has the defaults:
      --[no-]archives          the contents of archives
      --[no-]mails             the contents of mail files
      --[no-]packed            packed programs
      --[no-]heuristics        by heuristics too
      --[no-]recursive         sub-directories
      --[no-]cross-fs          other file systems
      --[no-]follow-links      what symbolic links lead to
      --include=EXT[,EXT...]   only files with these extensions
      --exclude=EXT[,EXT...]   no files with these extensions
      --exclude-dir=DIR        not this directory; may be repeated
      --max-size=SIZE          no larger files; bytes, or with K, M, G
      --max-depth=LEVELS       no deeper directories
      --files-from=FILE        what FILE names, one a line; - is the standard input
  -0, --null                   the names in it end with a NUL, as find -print0 does
      --home                   the home directory
  -m, --memory                 the running processes instead of files
      --no-cache               also what was clean before and has not changed
      --forget                 nothing; forget all files that were clean

How it is scanned:
      --gentle                 only when nobody else uses processor and disk, and
                               with nothing left in memory that was not there

What is printed:
      --all                    clean objects too
      --json                   one JSON object a line
      --no-progress            no progress on the terminal
  -q, --quiet                  nothing but errors

What is logged:
      --log[=DIR]              write a scan log, as the window does; below DIR
                               in place of the configured location
      --log-level=minimum|infected|all
                               the same, with more or less of it

Who is told:
      --notify[=problems|all]  a desktop notification when something was found, or
                               could not be scanned; all: of begin and end, too

Scheduled scans, which the window makes:
      --schedule=ID            run one, as cron does
      --missed                 run those that were due while the machine was off
      --list-schedules         print them, with their ids and last results
      --remake-cron            make the file of cron anew

How it scans:
      --jobs=N                 with N processes; by default one for each core

      --config=FILE            scan configuration
      --engine-config=FILE     configuration of the scanning service
  -h, --help                   this text
  -V, --version                version and signatures

Exit status: 0 nothing found, 1 something found, 2 something went wrong and
nothing was found, or the output or the log could not be written.
)";
}
