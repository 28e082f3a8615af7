// SPDX-License-Identifier: MIT

// A journal for a child process: what it says to the journal's socket comes out at the test's end
// of it, and this machine's own journal, if there is one, hears nothing.
//
// Threads: for a child that has just been forked and has one thread.

#pragma once

// Moves this process into a mount namespace of its own, in which /run is empty but for the
// journal's socket, and binds `journal`, an unconnected datagram socket, to that. Needs root, or
// the right to make a user namespace, in which the process stays who it is. Says on stderr what
// went wrong, and returns false.
bool EnterNamespaceWithJournal(int journal);
