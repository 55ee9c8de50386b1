// Names of files that are a sequence: "shot.####.png", "shot.%04d.png", "shot.@@@.png".
// Plain text, but for the look into a directory. Failures are thrown as Failure.
#ifndef TOOLS_TRANSFER_FILEPATTERN_H
#define TOOLS_TRANSFER_FILEPATTERN_H

#include <string>
#include <vector>

namespace tool {

class FilePattern {
public:
    /// The last place for a number in the text's file name counts; without one the pattern names
    /// a single file.
    explicit FilePattern(const std::string& text);

    [[nodiscard]] bool isSequence() const { return digits_ > 0; }
    /// The pattern as it was written.
    [[nodiscard]] const std::string& text() const { return text_; }
    /// The file of a frame number, filled with zeros to the pattern's width.
    [[nodiscard]] std::string file(int number) const;
    /// The numbers of the files that exist, ascending.
    [[nodiscard]] std::vector<int> existingNumbers() const;

    /// The pattern with another number of digits that files are named like; "" when there is none.
    [[nodiscard]] std::string otherPadding() const;

private:
    void splitAt(std::size_t start, std::size_t length, int digits);

    std::string text_;
    std::string before_; // directory and name before the number
    std::string after_;
    int digits_ = 0; // width of the number; 0: no number
};

} // namespace tool

#endif
