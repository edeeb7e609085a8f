#pragma once

#include "desktop/look/Sign.h"
#include "inspect/Report.h"

#include <QCoreApplication>

#include <vector>

/// What stands in one line of the tree of a file.
enum class InspectLineKind { file, part, field, range, finding };

/// One line. Its texts are made when somebody looks at it, so that a file of many thousand records stays quick.
struct InspectLine {
    InspectLineKind kind = InspectLineKind::file;
    Sign sign = Sign::none;
    int file = 0;  ///< 1: its bytes are those of the second file of a pair
    int parent = 0;
    int row = 0;  ///< among its parent's
    int firstChild = 0;
    int childCount = 0;
    const inspect::Description* description = nullptr;
    int part = 0;          ///< its number; 0 for what is of no part
    std::size_t item = 0;  ///< of the description's or the part's list of its kind
    qint64 offset = -1;
    qint64 size = 0;
};

/// A description as a tree of lines that one list holds, each one's children side by side. It points into the report,
/// whose owner keeps it as long. Line 0 stands for nothing and holds the file's line.
class InspectTree {
    Q_DECLARE_TR_FUNCTIONS(InspectTree)

  public:
    InspectTree() = default;
    explicit InspectTree(const inspect::Description& description);

    [[nodiscard]] const std::vector<InspectLine>& lines() const { return lines_; }
    [[nodiscard]] const InspectLine& line(int index) const { return lines_[static_cast<std::size_t>(index)]; }

    [[nodiscard]] QString name(const InspectLine& line) const;
    /// What stands there, as it stands there. `bytes` are those of the line's file.
    [[nodiscard]] QString value(const InspectLine& line, QByteArrayView bytes) const;
    /// What that means.
    [[nodiscard]] QString meaning(const InspectLine& line) const;
    /// Its name behind those of what it is in.
    [[nodiscard]] QString path(int index) const;

    /// The narrowest line that covers a byte; 0 if none does.
    [[nodiscard]] int lineAt(int file, qint64 offset) const;
    /// The line of an item of a description's list of this kind, or of the description itself; 0 if there is none.
    [[nodiscard]] int lineOf(InspectLineKind kind, const inspect::Description* description, std::size_t item) const;

  private:
    void addChildren(int index);
    void add(int parent, InspectLine line);
    [[nodiscard]] bool isInside(const InspectLine& line) const;
    [[nodiscard]] static const inspect::Field* fieldOf(const InspectLine& line);

    std::vector<InspectLine> lines_;
};
