// The folder-scan benchmark case (FolderScanBench.cpp).
#pragma once

namespace vt::bench {

// Builds a tree of 100,000 files in a few hundred folders of mixed depth,
// then times a scan with the folder search (counting pass and enumeration,
// as a file category runs it) against one raw walk of the same tree with the
// system's own listing calls, in this process; prints both and the ratio.
bool RunFolderScan(int runs);

}  // namespace vt::bench
