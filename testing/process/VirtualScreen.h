#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace kelo {

/// A terminal's screen: receives the bytes that a program sends and shows them as a user would see them.
class VirtualScreen {
public:
    struct Cell {
        std::string character = " ";
        std::string ink; ///< The arguments of the control sequence for the ink; empty for the default.
    };
    using Page = std::vector<std::vector<Cell>>;

    VirtualScreen(std::size_t columns, std::size_t rows) { resize(columns, rows); }

    void resize(std::size_t columns, std::size_t rows) {
        columns_ = columns;
        rows_ = rows;
        for (auto* page : {&main_, &alternate_}) {
            page->resize(rows);
            for (auto& row : *page)
                row.resize(columns);
        }
    }

    void take(const std::string& bytes) {
        pending_ += bytes;
        std::size_t size = 0;
        while ((size = sizeOfFirst()) > 0) {
            show(pending_.substr(0, size));
            pending_.erase(0, size);
        }
    }

    const Page& cells() const { return isAlternate ? alternate_ : main_; }

    /// The text of each row, without trailing blanks.
    std::vector<std::string> rows() const {
        std::vector<std::string> texts;
        for (const auto& row : cells()) {
            std::string text;
            for (const auto& cell : row)
                text += cell.character;
            texts.push_back(text.substr(0, text.find_last_not_of(' ') + 1));
        }
        return texts;
    }
    bool shows(const std::string& text) const {
        const auto all = rows();
        return std::any_of(all.begin(), all.end(),
                           [&](const auto& row) { return row.find(text) != std::string::npos; });
    }

    bool isAlternate = false; ///< Whether the alternate screen is shown.
    bool isCursorVisible = true;
    std::string ink;                 ///< The ink of the text that follows.
    bool wasColoured = false;        ///< Whether some text was not in the default ink.
    std::vector<std::string> faults; ///< Unknown control sequences, and text beyond the end of a row.

private:
    /// The size of the first character or control sequence; 0 while it is incomplete.
    std::size_t sizeOfFirst() const {
        if (pending_.empty())
            return 0;
        if (pending_.starts_with("\033[")) {
            const auto end = pending_.find_first_not_of("?;0123456789", 2);
            return end == std::string::npos ? 0 : end + 1;
        }
        if (pending_[0] == '\033')
            return pending_.size() > 1 ? 2 : 0;
        std::size_t size = 1;
        while (size < pending_.size() && (static_cast<unsigned char>(pending_[size]) & 0xC0U) == 0x80U)
            ++size;
        const auto lead = static_cast<unsigned char>(pending_[0]);
        const std::size_t whole = lead < 0xC0U ? 1 : lead < 0xE0U ? 2 : lead < 0xF0U ? 3 : 4;
        return size < whole ? 0 : whole;
    }

    void show(const std::string& piece) {
        if (piece == "\r")
            column_ = 0;
        else if (piece == "\n")
            feed();
        else if (piece[0] == '\033')
            obey(piece);
        else
            write(piece);
    }

    void write(const std::string& character) {
        if (static_cast<unsigned char>(character[0]) < ' ')
            faults.emplace_back("a control character");
        if (column_ >= columns_) {
            if (isAlternate)
                faults.emplace_back("text runs over the end of a row");
            column_ = 0;
            feed();
        }
        page()[row_][column_++] = {character, ink};
        wasColoured = wasColoured || !ink.empty();
    }

    void feed() {
        if (row_ + 1 < rows_) {
            ++row_;
            return;
        }
        if (isAlternate)
            faults.emplace_back("the screen scrolls");
        page().erase(page().begin());
        page().emplace_back(columns_);
    }

    void obey(const std::string& sequence) {
        const auto kind = sequence.back();
        const auto arguments = sequence.substr(2, sequence.size() - 3);
        if (kind == 'm')
            ink = arguments == "0" ? "" : arguments;
        else if (sequence == "\033[2K")
            std::fill(page()[row_].begin(), page()[row_].end(), Cell());
        else if (sequence == "\033[2J")
            page() = Page(rows_, std::vector<Cell>(columns_));
        else if (kind == 'H' && arguments.find(';') != std::string::npos)
            move(std::stoul(arguments) - 1, std::stoul(arguments.substr(arguments.find(';') + 1)) - 1);
        else if (sequence == "\033[?25h" || sequence == "\033[?25l")
            isCursorVisible = kind == 'h';
        else if (sequence == "\033[?1049h" || sequence == "\033[?1049l")
            turnPage(kind == 'h');
        else
            faults.push_back("an unknown control sequence: ESC" + sequence.substr(1));
    }

    void move(std::size_t row, std::size_t column) {
        row_ = std::min(row, rows_ - 1); // the frame may be drawn for the previous size
        column_ = std::min(column, columns_ - 1);
    }

    void turnPage(bool toAlternate) {
        if (toAlternate == isAlternate)
            return;
        isAlternate = toAlternate;
        std::swap(row_, otherRow_);
        std::swap(column_, otherColumn_);
    }

    Page& page() { return isAlternate ? alternate_ : main_; }

    std::size_t columns_ = 0;
    std::size_t rows_ = 0;
    Page main_;
    Page alternate_;
    std::size_t row_ = 0;
    std::size_t column_ = 0;
    std::size_t otherRow_ = 0; ///< The cursor's row on the hidden page.
    std::size_t otherColumn_ = 0;
    std::string pending_;
};

} // namespace kelo
