#pragma once
// The tree copy of the "Copy Folders" section.

// Copies the files of a folder tree with the system's ANSI calls, overwriting, and goes on
// after a failed copy; true only when every copy succeeded. Names beginning with "." are
// left out, files and folders alike. A source whose search finds nothing besides "." and
// ".." gives true without creating the destination; a source that is not a folder, an
// empty destination, or a path that does not fit in 260 bytes gives false.
bool BCopyFolderTree(const char* pszSource, const char* pszDest);
