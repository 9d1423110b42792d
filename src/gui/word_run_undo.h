// Ctrl+Z in a text field takes back the last run of typing — a word, or
// what was typed before a pause — not everything typed since the field was
// filled, as a text document's own undo does when it merges every key.
#pragma once

class QPlainTextEdit;

namespace quorvane {

// From now on `field`'s undo goes word-run by word-run: a new step starts
// when a word begins after a space (or a line), and after a pause of about
// a second.
void undoByWordRuns(QPlainTextEdit* field);

}  // namespace quorvane
