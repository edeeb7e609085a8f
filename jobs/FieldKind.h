#pragma once

namespace jobs {

/// The kind of a field's value. It decides how the form edits the value.
enum class FieldKind {
    text,     ///< one line
    fixed,    ///< one line in the fixed font: numbers, addresses, hexadecimal
    choice,   ///< one of `choices`
    check,    ///< "1" or nothing
    inFile,   ///< the path of a file that exists
    outFile,  ///< the path of a file to make
    folder,   ///< the path of a folder
    inFiles,  ///< several paths, each with an optional text after it ("0x08000000") if the field has a `besideLabel`
};

}  // namespace jobs
