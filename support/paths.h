#pragma once
// Paths, the temporary folder and temporary files.

#include "support/text.h"

namespace kv {

// The path of a module (null: the process's program). FALSE leaves the path empty.
BOOL GetModuleFileName(HMODULE module, PathText& path);
// The file name of a module without folder and extension.
void GetModuleBaseName(HMODULE module, PathText& name);
// The folder of a path without the backslash that ends it; empty when there is none.
void GetFolder(const WCHAR* path, PathText& folder);
// The text after the last backslash, or the whole path.
const WCHAR* GetFileNamePart(const WCHAR* path);
// The last "." when no backslash follows it, else the end of the text.
const WCHAR* FindExtension(const WCHAR* path);
// `name` itself when it contains ":" or starts with two backslashes, else folder, a backslash and name.
void JoinPath(const WCHAR* folder, const WCHAR* name, PathText& path);
// The path names a file, not a folder.
bool FileExists(const WCHAR* path);
// TRUE when created or already there. With `report`, a failure is shown.
BOOL CreateFolder(const WCHAR* path, SECURITY_ATTRIBUTES* security = nullptr, bool report = false);
// Creates the missing folders above a file's path.
BOOL create_folders_of(const WCHAR* file);

// Where job files are made: the system's temporary folder, or the product's own below LocalAppDataLow for a
// process of low or unknown integrity.
BOOL GetTempFolder(PathText& folder);
// Creates a new empty file in the folder (null: GetTempFolder) and gives its path.
BOOL CreateTempFile(const WCHAR* folder, PathText& path);

}  // namespace kv
