/// The memory of the command: jemalloc's, in huge pages where the system has them to give.
///
/// A compile makes and drops some hundred thousand small objects, and walks them in every order. With the system's
/// allocator and pages of 4 KiB, a quarter of its time at 10,000 rules went into page faults, misses of the address cache
/// and lists of freed chunks. Addresses are given back with their memory, since a limit may be set to them (`ulimit -v`).

extern "C" {
/// What jemalloc reads when the program starts, under the name that it gives it; its manual has the words.
// NOLINTBEGIN(readability-identifier-naming)
extern char const* malloc_conf;
char const* malloc_conf = "thp:always,retain:false,narenas:1";
// NOLINTEND(readability-identifier-naming)
}
