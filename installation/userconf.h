#pragma once

/// Finds or makes the configuration file of the user who runs this process, ~/.vardo/vardo.conf, out
/// of the two shared files: the scan configuration and the paths of the main configuration, with the
/// engine's socket and process id file in the user's own directory. An existing file is used as it
/// stands. Answers a path that the caller releases with free, or null on any failure; a half-made
/// file may stay behind then.
char* createUserConf();

/// Rewrites the ini file `path` without the double quotes around its values. 0 on success; on failure
/// -1, and the file is as it was. Lines are cut as told here, which those who read the result know:
/// nothing behind a line of more than 1022 characters is kept, and an empty line is added at the end.
int removeConfQoutes(const char* path);
