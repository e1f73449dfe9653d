/* Stand-in driver: names the folder of its data as a driver would find it. */
#ifndef KELD_DRIVER_DATA_SUBDIR
#error "keld_install_driver() did not define KELD_DRIVER_DATA_SUBDIR"
#endif

const char* StandinDataSubdir(void) { return KELD_DRIVER_DATA_SUBDIR; }
