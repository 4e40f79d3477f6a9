// Text that came from a device or a user: checked, measured, made harmless.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace hnap {

/// The text with everything visible that could move a cursor or hide something: control characters and bytes
/// that are no UTF-8 as \xHH, direction and zero-width marks as \u{HHHH}.
std::string visible(std::string_view text);

/// From now on other characters than ASCII are shown as \u{HHHH} too, for a terminal that cannot show them.
void show_ascii_only();

/// The same for a text of several lines: line feeds and tabs stay.
std::string visible_lines(std::string_view text);

/// Terminal columns of a visible text.
int columns_of(std::string_view text);

/// The text in at most `columns` columns, its end replaced by "…" ("..." without UTF-8) when it is longer.
std::string cut_to(std::string_view text, int columns, bool utf8);

/// True for UTF-8 of characters that XML 1.0 can carry.
bool is_xml_text(std::string_view text);

/// Why a text is none: "not UTF-8" or "a control character"; empty when it is one.
std::string xml_text_flaw(std::string_view text);

bool is_hexadecimal(std::string_view text);

/// The whole text as a decimal number; none when it is anything else or does not fit.
std::optional<long> whole_number(std::string_view text);

/// Appends the bytes in base64.
void append_base64(std::string& text, std::string_view bytes);

/// A copy whose secrets (the texts of Key, AdminPassword, PIN) are "***".
std::string masked(std::string_view xml);

std::string without_blanks_around(std::string_view text);

}  // namespace hnap
