// Character classes of the C locale, whatever locale the host process has set.
#pragma once

inline bool is_ascii_letter(char byte) { return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z'); }
inline bool is_ascii_digit(char byte) { return byte >= '0' && byte <= '9'; }
inline bool is_ascii_space(char byte) { return byte == ' ' || (byte >= '\t' && byte <= '\r'); }
