// Line-by-line reading of the tool's text files: fields split at blanks, tabs and commas, finite
// numbers only, and messages that name the file and the line.
#pragma once

#include <fstream>
#include <string>
#include <vector>

/// Reads the content lines of a text file: blank lines are skipped, and lines starting with '#';
/// with bTrailingComments (Triangle's files) a '#' anywhere starts a comment.
class TextFields {
 public:
  TextFields(const std::string& filename, bool bTrailingComments);
  bool isOpen() const { return bool(file); }
  /// The fields of the next content line; false at the end of the file.
  bool next();
  const std::vector<std::string>& fields() const { return vFields; }
  int lineNumber() const { return currentLine; }
  /// Number of whole-line comments skipped so far.
  int numComments() const { return commentLines; }
  /// "FILE, line N: " + text + ", got \"<the line>\"".
  std::string complaint(const std::string& text) const;

  /// Field i as a finite double / an integer; false when it is not one.
  bool number(size_t i, double& value) const;
  bool integer(size_t i, long& value) const;

 private:
  std::string filename;
  std::ifstream file;
  bool bTrailingComments;
  std::string line;
  std::vector<std::string> vFields;
  int currentLine;
  int commentLines;
};
