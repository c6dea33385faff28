// Splits the text of a path into root, levels, file name and extension.
#ifndef KIVUTILITY_KIVPATHPARSER_H
#define KIVUTILITY_KIVPATHPARSER_H

#include "KivExport.h"
#include "KivString.h"

// The parts of a path, on both platforms alike: `/` and `\` both part levels, drive letters and UNC roots
// are known everywhere, and no file is looked at. Delimiters in a row count as one; "." and ".." are
// ordinary levels. Constant once made: any number of threads may read it.
class KIV_API CPathParser {
public:
    // flag 0: the last component names a file; otherwise the path names a folder and its last component is a
    // level, too. A null path is an empty one.
    CPathParser(const char* path, int flag);

    // Where the path starts, as written, with the delimiter behind it where there is one:
    //   "/" or "\"; "C:\" of an absolute path on a drive; "C:" of one relative to the drive's current folder;
    //   "\\server\share\" of a UNC path; "" of a relative path.
    // The file name never belongs to the root: "//a/b" as a file is "b" under "//a/".
    const CKivString& GetRoot() const { return m_root; }

    // The folders between root and file name.
    int GetLevelCount() const { return m_levels.GetCount(); }

    // Folder `idx` from the root, 0 being the first, without delimiters; "" outside 0..GetLevelCount() - 1.
    const CKivString& GetLevel(int idx) const { return m_levels[idx]; }

    // The last component with its extension; "" behind a last delimiter and for a folder.
    const CKivString& GetFileName() const { return m_fileName; }

    // The file name up to its last dot.
    const CKivString& GetBaseName() const { return m_baseName; }

    // What stands behind the last dot of the file name, without the dot; "" when there is no dot.
    const CKivString& GetExtName() const { return m_extName; }

private:
    CKivString     m_root;
    CKivStringList m_levels;
    CKivString     m_fileName;
    CKivString     m_baseName;
    CKivString     m_extName;
};

#endif
