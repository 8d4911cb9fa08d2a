# run_under(QEMU ROOT) runs programs of the target under this emulator, with the target's libraries in ROOT.
#
# Without G_SLICE, a program with several threads that forks could wait for ever in its child. The emulator allocates
# memory with GLib's slice allocator, and another of its threads may hold that allocator's lock at the fork. malloc's
# locks are safe after a fork.
macro(run_under qemu root)
  set(CMAKE_CROSSCOMPILING_EMULATOR env G_SLICE=always-malloc ${qemu} -L "${root}")
endmacro()
