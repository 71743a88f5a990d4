#pragma once

class Vardo;

/// What the whole process shares, from the start's choice of configuration to its end; written by
/// main's thread only.
extern char* qsavConf;  ///< path of the main configuration in use
extern char* vardoConf; ///< path of the scan configuration in use
extern Vardo* vardo;    ///< the one scan engine object
