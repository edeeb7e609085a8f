#pragma once

#include "desktop/look/Sign.h"
#include "inspect/Report.h"

#include <QCoreApplication>

#include <vector>

namespace desktop {

/// The kind of a line of the tree.
enum class InspectLineKind { file, part, field, range, finding, content, contentField, contentRow, optionField };

/// One line. Its texts are made only when they are shown, so that a file of many thousands of records stays fast.
struct InspectLine {
    InspectLineKind kind = InspectLineKind::file;
    Sign sign = Sign::none;
    int file = 0;  ///< 1 if its bytes are from the second file of a pair
    int parent = 0;
    int row = 0;  ///< index among its parent's children
    int firstChild = 0;
    int childCount = 0;
    const inspect::Description* description = nullptr;
    int part = 0;              ///< the part's number; 0 if the line belongs to no part
    std::size_t item = 0;      ///< index in the list of parts, fields, ranges, findings or contents; 0 for a file
    std::size_t detail = 0;    ///< index in the list of a content's fields or rows
    std::size_t field = 0;     ///< index in the list of an option word's fields
    bool isInContent = false;  ///< it belongs to a plain content, so it has no bytes in the file
    qint64 offset = -1;
    qint64 size = 0;
};

/// A description as a tree of lines, stored in one list with the children of each line next to each other. It points
/// into the report; the owner of the tree keeps the report alive. Line 0 is the invisible root; its child is the file's
/// line.
class InspectTree {
    Q_DECLARE_TR_FUNCTIONS(InspectTree)

  public:
    InspectTree() = default;
    explicit InspectTree(const inspect::Description& description);

    [[nodiscard]] const std::vector<InspectLine>& lines() const { return lines_; }
    [[nodiscard]] const InspectLine& line(int index) const { return lines_[static_cast<std::size_t>(index)]; }

    [[nodiscard]] QString name(const InspectLine& line) const;
    /// The value as the file states it. `bytes` are those of the line's file.
    [[nodiscard]] QString value(const InspectLine& line, QByteArrayView bytes) const;
    /// The meaning of the value.
    [[nodiscard]] QString meaning(const InspectLine& line) const;
    /// The names of the lines that contain this one, followed by its own.
    [[nodiscard]] QString path(int index) const;

    /// The narrowest line that covers a byte; 0 if none.
    [[nodiscard]] int lineAt(int file, qint64 offset) const;
    /// The line of `kind` with the index `item` in its list; 0 if none. The line of the description itself has the kind
    /// `file` and the index 0.
    [[nodiscard]] int lineOf(InspectLineKind kind, const inspect::Description* description, std::size_t item) const;

  private:
    void addChildren(int index);
    void addContent(int index);
    void addOptionFields(int index);
    void add(int parent, InspectLine line);
    [[nodiscard]] bool isInside(const InspectLine& line) const;
    [[nodiscard]] static const inspect::Field* fieldOf(const InspectLine& line);
    [[nodiscard]] static const inspect::OptionField& optionFieldOf(const InspectLine& line);

    std::vector<InspectLine> lines_;
};

}  // namespace desktop
