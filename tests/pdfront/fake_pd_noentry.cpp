// A library that maps but lacks the entry symbol VexPDLibraryEntry.
extern "C" __attribute__((visibility("default"))) int FakePdNoEntry_Marker() { return 42; }
