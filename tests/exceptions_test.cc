#include "base/exceptions.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include "base/text_conversion.h"
#include "trove/result_codes.h"

namespace {

using oru::ResultCodeException;
using oru::wstring_t;
using trove::resultFromCurrentException;

std::u16string text(const wstring_t& s) {
  return std::u16string(s.view());
}

// A plain framework exception that is not a ResultCodeException.
class PlainException : public oru::ExceptionBase<PlainException, oru::Exception> {
 public:
  using ExceptionBase::ExceptionBase;
};

template <class Throw>
int32_t codeOf(Throw&& raise) {
  try {
    raise();
  } catch (...) {
    return resultFromCurrentException();
  }
  ADD_FAILURE() << "nothing was thrown";
  return errOk;
}

TEST(ResultCodeExceptionTest, ComposesItsDescription) {
  ResultCodeException open(errSysFileNotFound, wstring_t(u"Cannot open"));
  EXPECT_EQ(text(open.description()), u"Cannot open: 0x80010102 (File not found)");
  EXPECT_EQ(text(ResultCodeException(errInvalidArgument).description()),
            u"0x80000046 (Invalid argument)");
  EXPECT_EQ(text(ResultCodeException(errKeyCreated).description()),
            u"0x0000d001 (Unknown result code)");
  EXPECT_EQ(text(ResultCodeException(errOk).description()), u"0x00000000 (No error)");
  EXPECT_EQ(text(ResultCodeException(static_cast<int32_t>(0x80070005u)).description()),
            u"0x80070005 (Unknown result code)");
  EXPECT_EQ(text(ResultCodeException(errEntryNotFound, wstring_t(u"k")).description()),
            u"k: 0x8000d002 (Unknown result code)");
  // Asking twice gives the same text: the stored description is not touched.
  EXPECT_EQ(text(open.description()), u"Cannot open: 0x80010102 (File not found)");
}

TEST(ResultCodeExceptionTest, WhatNamesTheClass) {
  EXPECT_STREQ(ResultCodeException(errOutOfMemory).what(), "ResultCodeException");
  EXPECT_STREQ(ResultCodeException(0, wstring_t(u"text")).what(), "ResultCodeException");
  const std::exception& asStandard = ResultCodeException(errUnexpected);
  EXPECT_STREQ(asStandard.what(), "ResultCodeException");
}

TEST(ResultCodeExceptionTest, CloneAndRethrowCopyTheObject) {
  ResultCodeException original(errSysSharingViolation, wstring_t(u"Cannot move"));
  std::unique_ptr<oru::Exception> copy(original.clone());
  auto* typed = dynamic_cast<ResultCodeException*>(copy.get());
  ASSERT_NE(typed, nullptr);
  EXPECT_EQ(typed->code(), errSysSharingViolation);
  EXPECT_EQ(text(typed->description()), text(original.description()));

  try {
    const oru::Exception& base = original;
    base.rethrow();
  } catch (const ResultCodeException& e) {
    EXPECT_NE(&e, &original);
    EXPECT_EQ(e.code(), errSysSharingViolation);
    EXPECT_EQ(text(e.description()), u"Cannot move: 0x80010104 (Sharing violation)");
  } catch (...) {
    FAIL() << "rethrow threw something else";
  }

  ResultCodeException assigned(errOk);
  assigned = original;
  EXPECT_EQ(assigned.code(), errSysSharingViolation);
  EXPECT_EQ(text(assigned.description()), text(original.description()));
}

TEST(ExceptionTest, MessageAndDescription) {
  PlainException none;
  EXPECT_STREQ(none.what(), "Unknown exception");
  EXPECT_TRUE(none.description().empty());

  PlainException described("load failed", wstring_t(u"profiles.xml"));
  EXPECT_STREQ(described.what(), "load failed");
  EXPECT_EQ(text(described.description()), u"profiles.xml");

  PlainException copied(described);
  EXPECT_STREQ(copied.what(), "load failed");
  EXPECT_EQ(text(copied.description()), u"profiles.xml");

  std::unique_ptr<oru::Exception> clone(described.clone());
  EXPECT_NE(dynamic_cast<PlainException*>(clone.get()), nullptr);
  EXPECT_STREQ(clone->what(), "load failed");
}

TEST(ResultFromCurrentExceptionTest, ConvertsInOrder) {
  EXPECT_EQ(codeOf([] { throw ResultCodeException(0); }), errUnexpected);
  EXPECT_EQ(codeOf([] { throw ResultCodeException(errOutOfMemory); }), errOutOfMemory);
  EXPECT_EQ(codeOf([] { throw ResultCodeException(errSysFileNotFound); }), errSysFileNotFound);
  // A success code other than 0 is passed on as it is.
  EXPECT_EQ(codeOf([] { throw ResultCodeException(errFalse); }), errFalse);
  EXPECT_EQ(codeOf([] { throw std::bad_alloc(); }), errOutOfMemory);
  EXPECT_EQ(codeOf([] { throw std::bad_array_new_length(); }), errOutOfMemory);
  EXPECT_EQ(codeOf([] { throw std::length_error("long"); }), errOutOfMemory);
  EXPECT_EQ(codeOf([] { throw std::out_of_range("far"); }), errUnknownException);
  EXPECT_EQ(codeOf([] { throw std::logic_error("logic"); }), errUnknownException);
  EXPECT_EQ(codeOf([] { throw std::bad_cast(); }), errUnknownException);
  EXPECT_EQ(codeOf([] { throw PlainException("plain"); }), errUnknownException);
  EXPECT_EQ(codeOf([] { throw 42; }), errUnknownException);
  // Outside a handler there is nothing to convert.
  EXPECT_EQ(resultFromCurrentException(), errUnknownException);
  EXPECT_EQ(trove::resultFromException(nullptr), errUnknownException);
}

TEST(ResultFromCurrentExceptionTest, ConvertsWhatFrameworkStringsRaise) {
  EXPECT_EQ(codeOf([] { wstring_t(u"x", ~uint64_t{0}); }), errOutOfMemory);
  EXPECT_EQ(codeOf([] {
              wstring_t s(u"abc");
              s.append(wstring_t(u"x"), 5);
            }),
            errUnknownException);
  EXPECT_EQ(codeOf([] { trove::wideFromNarrow("\xFF\xFE"); }), errUnknownException);
  EXPECT_EQ(codeOf([] {
              // A nested handler: the outer exception is the one converted.
              try {
                throw std::bad_alloc();
              } catch (...) {
                throw ResultCodeException(errAccessDenied);
              }
            }),
            errAccessDenied);
}

}  // namespace
