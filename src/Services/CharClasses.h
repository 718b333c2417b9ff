// Character classes shared by the number, field and line readers.
#ifndef QUORB_SERVICES_CHARCLASSES_H_
#define QUORB_SERVICES_CHARCLASSES_H_

namespace quorb {

inline bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}
inline bool IsSign(char c) {
  return c == '+' || c == '-';
}
// Exponents may be written with E or D, in either case.
inline bool IsExponentLetter(char c) {
  return c == 'E' || c == 'e' || c == 'D' || c == 'd';
}
// a..z become A..Z; every other character stays.
inline char UpperCase(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

}  // namespace quorb

#endif  // QUORB_SERVICES_CHARCLASSES_H_
