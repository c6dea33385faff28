// A registry key that a test has for itself.
#ifndef KIVUTILITY_TESTS_OWN_KEY_H
#define KIVUTILITY_TESTS_OWN_KEY_H

#include "KivUtility.h"

namespace test {

// Missing when the test begins, and gone when it ends.
class OwnKey {
public:
    OwnKey(HKEY root, const char* path) : m_root(root), m_path(path) { Delete(); }

    OwnKey(const OwnKey&)            = delete;
    OwnKey& operator=(const OwnKey&) = delete;

    ~OwnKey() { Delete(); }

    void Delete() const {
        CKivRegistryMgr node(m_root);
        if (node.OpenNode(m_path, 0) == 1) node.DeleteNode(1);
    }

private:
    HKEY        m_root;
    const char* m_path;
};

} // namespace test

#endif
