# run_under(QEMU ROOT): programs of the target run under this emulator, with the target's libraries below ROOT.
#
# A program of several threads that forks could wait for ever in its child: the emulator takes memory from GLib's slice
# allocator, whose lock another of its threads may hold at the fork. malloc's locks survive a fork.
macro(run_under qemu root)
  set(CMAKE_CROSSCOMPILING_EMULATOR env G_SLICE=always-malloc ${qemu} -L "${root}")
endmacro()
