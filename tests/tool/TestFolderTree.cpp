#include <velmioctl/tree/FolderTree.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

FolderTree sampleTree()
{
    return FolderTree({
        {4, 2, 3, u"c"_s, u"/r/b/c"_s},
        {2, 1, 2, u"b"_s, u"/r/b"_s},
        {1, 0, 1, u"r"_s, u"/r"_s},
        {3, 1, 9, u"a"_s, u"/r/a"_s},
        {5, 3, 3, u"x\ny"_s, u"/r/a/x\ny"_s},
        {7, 0, 1, u"o"_s, u"/o"_s},
        {8, 99, 1, u"lost"_s, u"/lost"_s},
    });
}

} // namespace

class TestFolderTree : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void drawsSiblingsByNameBelowTheirParent()
    {
        QCOMPARE(
            sampleTree().draw(1, -1, true), u"/r  [1, syncing]\n"
                                            u"\u251c\u2500\u2500 a  [3, 9]\n"
                                            u"\u2502   \u2514\u2500\u2500 x\\ny  [5, created]\n"
                                            u"\u2514\u2500\u2500 b  [2, out-of-sync]\n"
                                            u"    \u2514\u2500\u2500 c  [4, created]\n"_s);
    }

    void drawsInAsciiWhereBoxesAreUnknown()
    {
        QCOMPARE(
            sampleTree().draw(1, -1, false), u"/r  [1, syncing]\n"
                                             u"|-- a  [3, 9]\n"
                                             u"|   `-- x\\ny  [5, created]\n"
                                             u"`-- b  [2, out-of-sync]\n"
                                             u"    `-- c  [4, created]\n"_s);
    }

    void depthCutsAndTellsHowMuch()
    {
        QCOMPARE(
            sampleTree().draw(1, 1, false), u"/r  [1, syncing]\n"
                                            u"|-- a  [3, 9] (+1)\n"
                                            u"`-- b  [2, out-of-sync] (+1)\n"_s);
    }

    void drawsFromAnyFolder()
    {
        QCOMPARE(
            sampleTree().draw(2, -1, false), u"/r/b  [2, out-of-sync]\n`-- c  [4, created]\n"_s);
    }

    void unknownFolderDrawsNothing() { QCOMPARE(sampleTree().draw(6, -1, false), QString()); }

    void rootsAreListedByName() { QCOMPARE(sampleTree().rootIds(), (std::vector<int>{7, 1})); }

    void foldersWithoutParentAreCounted() { QCOMPARE(sampleTree().detachedCount(), size_t(1)); }

    void foldersBelowThemselvesEnd()
    {
        const FolderTree tree({{1, 2, 1, u"a"_s, u"/a"_s}, {2, 1, 1, u"b"_s, u"/b"_s}});

        QCOMPARE(tree.draw(1, -1, false), u"/a  [1, syncing]\n`-- b  [2, syncing]\n"_s);
        QCOMPARE(tree.detachedCount(), size_t(2));
    }

    void deepChainDoesNotExhaustTheStack()
    {
        constexpr int Depth = 200'000;
        std::vector<FolderNode> folders;
        for (int id = 1; id <= Depth; ++id)
            folders.push_back({id, id - 1, 1, u"f"_s, u"/f"_s});
        const FolderTree tree(std::move(folders));

        int deepest = 0;
        tree.visit(1, -1, [&deepest](const FolderNode&, const FolderTree::Place& place) {
            deepest = place.depth;
        });

        QCOMPARE(deepest, Depth - 1);
    }
};

} // namespace velmioctl

QTEST_GUILESS_MAIN(velmioctl::TestFolderTree)
#include "TestFolderTree.moc"
