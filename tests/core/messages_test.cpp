// Tests of the localised message table: the shipped data (every language,
// every key, the rows that must stay exactly as shipped) and the lookups
// through the locale conversion under C.UTF-8.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string>

#include "core/message_texts.h"
#include "core/messages.h"
#include "core/text_string.h"
#include "support/test_support.h"

namespace kitsetup {
namespace {

// Rows that are shipped exactly as written here: all of Russian and English,
// and the telling rows of the other languages (odd spellings included).
struct ExactRow {
  const char* code;
  const char* key;
  const char16_t* text;
};

const ExactRow kExactRows[] = {
    {"ru", "IDS_WIZARD_BACK", u"< Назад"},
    {"ru", "IDS_WIZARD_NEXT", u"Далее >"},
    {"ru", "IDS_WIZARD_FINISH", u"Готово"},
    {"ru", "IDS_WIZARD_CANCEL", u"Отмена"},
    {"ru", "IDS_ACCEPT_CANCEL", u"Вы действительно хотите отменить установку?"},
    {"ru", "IDS_TITLE_INSTALLER", u"Установка конфигурации"},
    {"ru", "IDS_PREPARECOPY", u"Подготовка к копированию..."},
    {"ru", "IDS_INSTALL_ERROR", u"Ошибка при инсталляции"},
    {"ru", "IDS_ERROR_NOSOURCE", u"Файл комплекта установки mivo.efd не найден."},
    {"ru", "IDS_ERROR_NOTARGET", u"Установка в текущий каталог шаблонов не поддерживается."},
    {"ru", "IDS_ERROR_NOSPACE", u"Недостаточно места в каталоге Temp."},
    {"ru", "IDS_CHOOSEDIR_FOLDER", u"&Папка:"},
    {"ru", "IDS_CHOOSEDIR_TITLE", u"Выбор каталога"},
    {"ru", "IDR_MAINFRAME", u"Установка конфигурации"},
    {"ru", "IDS_SETUP_EMPTYTARGET", u"Укажите корректный путь к каталогу шаблонов."},
    {"ru", "IDS_INSTALL_FINISH", u"Завершение копирования..."},
    {"ru", "IDS_ERROR_DAMAGEDSOURCE", u"Файл комплекта установки mivo.efd поврежден или не предназначен для этой программы установки."},
    {"ru", "IDS_DEFPRODUCT", u"<Продукт>"},
    {"ru", "IDS_DEFPROVIDER", u"<Поставщик>"},
    {"ru", "IDS_SUCCESS_FINISH", u"Конфигурация успешно установлена."},
    {"ru", "IDS_SUCCESS_OPENDESCR", u"Открыть описание поставки"},
    {"ru", "IDS_PROGRESS_START", u"Идет копирование файлов..."},
    {"ru", "IDS_ERROR_FINISH", u"В процессе установки произошла ошибка. Установка прервана. Каталог шаблонов не изменен."},
    {"ru", "IDS_CANCEL_FINISH", u"Установка отменена. Каталог шаблонов не изменен."},
    {"ru", "IDS_BROWSE_SELDIR", u"Выбранный каталог:"},
    {"ru", "IDS_BROWSE_OK", u"Выбрать"},
    {"ru", "IDS_BROWSE_CANCEL", u"Отмена"},
    {"ru", "IDS_WELCOME_TITLE", u"Добро пожаловать в программу установки продукта"},
    {"ru", "IDS_SETUP_EXISTEDTARGET", u"Каталог установки содержит файлы, которые могут быть изменены в процессе установки. Продолжить установку?"},
    {"ru", "IDS_DESTINATION_PROMPT", u"Укажите путь к каталогу шаблонов. Программа установки установит шаблоны и файлы конфигурации в указанный каталог."},
    {"ru", "IDS_TEMPLATE_CATALOG", u"Каталог шаблонов:"},
    {"uk", "IDS_WIZARD_BACK", u"< Попередня"},
    {"uk", "IDS_WIZARD_NEXT", u"Наступна >"},
    {"uk", "IDS_WIZARD_FINISH", u"ОК"},
    {"uk", "IDS_WIZARD_CANCEL", u"Відмінити"},
    {"uk", "IDS_WELCOME_TITLE", u"Ласкаво просимо у програму установки продукту"},
    {"en", "IDS_WIZARD_BACK", u"< Back"},
    {"en", "IDS_WIZARD_NEXT", u"Next >"},
    {"en", "IDS_WIZARD_FINISH", u"Finish"},
    {"en", "IDS_WIZARD_CANCEL", u"Cancel"},
    {"en", "IDS_ACCEPT_CANCEL", u"Do you really want to cancel installation?"},
    {"en", "IDS_TITLE_INSTALLER", u"Installing configuration"},
    {"en", "IDS_PREPARECOPY", u"Preparing to copy..."},
    {"en", "IDS_INSTALL_ERROR", u"Installation error"},
    {"en", "IDS_ERROR_NOSOURCE", u"Distribution kit file mivo.efd not found."},
    {"en", "IDS_ERROR_NOTARGET", u"Installation of templates to the current directory is not supported."},
    {"en", "IDS_ERROR_NOSPACE", u"Insufficient space available in the directory Temp."},
    {"en", "IDS_CHOOSEDIR_FOLDER", u"&Folder:"},
    {"en", "IDS_CHOOSEDIR_TITLE", u"Choose Directory"},
    {"en", "IDR_MAINFRAME", u"Installing configuration"},
    {"en", "IDS_SETUP_EMPTYTARGET", u"Specify correct path to template directory."},
    {"en", "IDS_INSTALL_FINISH", u"Copying complete..."},
    {"en", "IDS_ERROR_DAMAGEDSOURCE", u"Distribution kit file mivo.efd corrupted or not designed for this installation program."},
    {"en", "IDS_DEFPRODUCT", u"<Product>"},
    {"en", "IDS_DEFPROVIDER", u"<Vendor>"},
    {"en", "IDS_SUCCESS_FINISH", u"Configuration installed successfully."},
    {"en", "IDS_SUCCESS_OPENDESCR", u"Open description of distribution package"},
    {"en", "IDS_PROGRESS_START", u"Files being copied..."},
    {"en", "IDS_ERROR_FINISH", u"An error occurred during the installation process. Installation canceled. Template directory has not been changed."},
    {"en", "IDS_CANCEL_FINISH", u"Installation canceled. Template directory has not been changed."},
    {"en", "IDS_BROWSE_SELDIR", u"Directory selected:"},
    {"en", "IDS_BROWSE_OK", u"Select"},
    {"en", "IDS_BROWSE_CANCEL", u"Cancel"},
    {"en", "IDS_WELCOME_TITLE", u"Welcome to the product installation program"},
    {"en", "IDS_SETUP_EXISTEDTARGET", u"The installation directory contains files that may be changed during the installation process. Do you want to continue?"},
    {"en", "IDS_DESTINATION_PROMPT", u"Specify path to template directory. The installation program will install templates and configuration files to the specified directory."},
    {"en", "IDS_TEMPLATE_CATALOG", u"Template directory:"},
    {"lv", "IDS_WIZARD_BACK", u"< Atpakaļ"},
    {"lv", "IDS_WIZARD_NEXT", u"Tālāk >"},
    {"lv", "IDS_WIZARD_FINISH", u"Gatavs"},
    {"lv", "IDS_WELCOME_TITLE", u"Laipni lūdzam produkta instalācijas programmā"},
    {"lt", "IDS_WIZARD_BACK", u"< Atgal"},
    {"lt", "IDS_WIZARD_NEXT", u"Toliau >"},
    {"lt", "IDS_WIZARD_FINISH", u"Atlikta"},
    {"lt", "IDS_WELCOME_TITLE", u"Sveiki atvykę į diegimo programą"},
    {"ro", "IDS_WIZARD_BACK", u"< Înapoi"},
    {"ro", "IDS_WIZARD_NEXT", u"Înainte >"},
    {"ro", "IDS_WIZARD_CANCEL", u"Revocare"},
    {"ro", "IDS_WELCOME_TITLE", u"Bine aţi venit în programul de instalare a produsului"},
    {"de", "IDS_WIZARD_BACK", u"< Zurück"},
    {"de", "IDS_WIZARD_NEXT", u"Weiter >"},
    {"de", "IDS_WIZARD_CANCEL", u"Abbrechen"},
    {"de", "IDS_WELCOME_TITLE", u"Willkommen beim Installationsprogramm des Produkts"},
    {"bg", "IDS_WIZARD_BACK", u"< Назад"},
    {"bg", "IDS_WIZARD_NEXT", u"Напред >"},
    {"bg", "IDS_ACCEPT_CANCEL", u"Дейстително ли желаете да отмените инсталацията?"},
    {"bg", "IDS_WELCOME_TITLE", u"Добре долшли в инсталационната програма на продукта"},
    {"ka", "IDS_WIZARD_BACK", u"< უკან"},
    {"ka", "IDS_WIZARD_NEXT", u"შემდეგ>"},
    {"ka", "IDS_WELCOME_TITLE", u"კეთილი იყოს თქვენი მობრძანება პროდუქტის დაყენების პროგრამაში"},
    {"kk", "IDS_WIZARD_BACK", u"< Артқа"},
    {"kk", "IDS_WIZARD_NEXT", u"Әрі қарай >"},
    {"kk", "IDS_WIZARD_CANCEL", u"Доғар"},
    {"kk", "IDS_WELCOME_TITLE", u"Өнімді орнату программасына қош келдіңіз"},
    {"vi", "IDS_WIZARD_BACK", u"< Quay lại"},
    {"vi", "IDS_WIZARD_NEXT", u"Tiếp theo >"},
    {"vi", "IDS_WIZARD_FINISH", u"Đồng ý"},
    {"vi", "IDS_WELCOME_TITLE", u"Chào mừng Bạn đến với chương trình cài đặt sản phẩm"},
    {"tr", "IDS_WIZARD_BACK", u"< Geri"},
    {"tr", "IDS_WIZARD_NEXT", u"İleri >"},
    {"tr", "IDS_WIZARD_FINISH", u"Tamam"},
    {"tr", "IDS_WIZARD_CANCEL", u"İptal"},
    {"tr", "IDS_WELCOME_TITLE", u"Ürün yükleme programına hoş geldiniz"},
};

const char* const kCodes[] = {"ru", "uk", "en", "lv", "lt", "bg", "de", "ro", "ka", "kk", "vi", "tr"};

// Strict UTF-8 decoder, independent of libc and the locale: the oracle for
// what LookupMessage must return. Fails on malformed, overlong, surrogate
// and non-BMP sequences (a TextString unit holds one BMP character only).
bool DecodeUtf8(const char* s, std::u16string* out) {
  out->clear();
  const auto* p = reinterpret_cast<const unsigned char*>(s);
  while (*p) {
    uint32_t c = *p++;
    int more = 0;
    uint32_t min = 0;
    if (c < 0x80) {
    } else if ((c & 0xE0) == 0xC0) {
      c &= 0x1F, more = 1, min = 0x80;
    } else if ((c & 0xF0) == 0xE0) {
      c &= 0x0F, more = 2, min = 0x800;
    } else {
      return false;
    }
    for (int i = 0; i < more; ++i, ++p) {
      if ((*p & 0xC0) != 0x80) return false;
      c = (c << 6) | (*p & 0x3F);
    }
    if (c < min || (c >= 0xD800 && c <= 0xDFFF)) return false;
    out->push_back(static_cast<char16_t>(c));
  }
  return true;
}

using testsupport::U16;

const LanguageBlock* Block(const std::string& code) {
  for (size_t b = 0; b < kLanguageCount; ++b)
    if (code == LanguageBlocks()[b].code) return &LanguageBlocks()[b];
  return nullptr;
}

// name occurs in s not followed by an ASCII letter ("Temp" but not "Template").
bool HasName(const std::string& s, const std::string& name) {
  for (size_t at = s.find(name); at != std::string::npos; at = s.find(name, at + 1)) {
    char next = s[at + name.size()];
    if (!isalpha(static_cast<unsigned char>(next))) return true;
  }
  return false;
}

bool EndsWith(const std::string& s, const std::string& tail) {
  return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

// Lookups convert through the environment's locale: run them under C.UTF-8
// and leave the process as it was found.
class MessageLookup : public ::testing::Test {
 protected:
  void SetUp() override { old_language_ = CurrentLanguage(); }
  void TearDown() override { SetCurrentLanguage(old_language_); }

 private:
  testsupport::ScopedEnv lc_all_{"LC_ALL", "C.UTF-8"};
  LanguageId old_language_ = 0;
};

TEST(MessageTexts, EveryLanguageCarriesTheSameKeysInOneOrder) {
  const LanguageBlock& ru = *Block("ru");
  std::set<LanguageId> ids;
  for (size_t b = 0; b < kLanguageCount; ++b) {
    const LanguageBlock& block = LanguageBlocks()[b];
    SCOPED_TRACE(block.code);
    ids.insert(block.id);
    std::set<std::string> keys;
    for (size_t i = 0; i < kMessageCount; ++i) {
      const MessageText& m = block.texts[i];
      ASSERT_NE(m.key, nullptr);
      ASSERT_NE(m.text, nullptr) << m.key;
      EXPECT_STREQ(m.key, ru.texts[i].key);
      EXPECT_TRUE(keys.insert(m.key).second) << "duplicate " << m.key;
      std::u16string units;
      EXPECT_TRUE(DecodeUtf8(m.text, &units)) << m.key << " is not UTF-8 within the BMP";
      EXPECT_FALSE(units.empty()) << m.key;
      std::string text = m.text;
      EXPECT_EQ(text.find('%'), std::string::npos) << m.key << " could be taken for a format";
      EXPECT_EQ(text.find("  "), std::string::npos) << m.key;
      EXPECT_NE(text.front(), ' ') << m.key;
      EXPECT_NE(text.back(), ' ') << m.key;
    }
    EXPECT_EQ(keys.size(), kMessageCount);
  }
  EXPECT_EQ(ids.size(), kLanguageCount);
  EXPECT_EQ(*ids.begin(), 1);
  EXPECT_EQ(*ids.rbegin(), 12);
  // Blocks are built ru, uk, en, lv, lt, ro, de, bg, ...; bg, de and ro are
  // numbered the other way round.
  const char* order[] = {"ru", "uk", "en", "lv", "lt", "ro", "de", "bg", "ka", "kk", "vi", "tr"};
  for (size_t b = 0; b < kLanguageCount; ++b) EXPECT_STREQ(LanguageBlocks()[b].code, order[b]);
}

TEST(MessageTexts, MarkersAndNamesFollowTheRussianRow) {
  const LanguageBlock& ru = *Block("ru");
  for (size_t b = 0; b < kLanguageCount; ++b) {
    const LanguageBlock& block = LanguageBlocks()[b];
    for (size_t i = 0; i < kMessageCount; ++i) {
      const std::string want = ru.texts[i].text, got = block.texts[i].text;
      SCOPED_TRACE(std::string(block.code) + " " + block.texts[i].key + ": " + got);
      auto count = [](const std::string& s, char c) { return std::count(s.begin(), s.end(), c); };
      EXPECT_EQ(count(got, '&'), count(want, '&'));
      EXPECT_EQ(got.front() == '&', want.front() == '&');
      EXPECT_EQ(got.front() == '<', want.front() == '<');
      EXPECT_EQ(count(got, '<'), count(want, '<'));
      EXPECT_EQ(count(got, '>'), count(want, '>'));
      EXPECT_EQ(EndsWith(got, "..."), EndsWith(want, "..."));
      for (const char* tail : {">", ":", "?", "."}) EXPECT_EQ(EndsWith(got, tail), EndsWith(want, tail)) << tail;
      for (const char* name : {"mivo.efd", "Temp"})
        EXPECT_EQ(HasName(got, name), HasName(want, name)) << name;
    }
  }
}

TEST(MessageTexts, OtherLanguagesAreTranslationsNotCopies) {
  // A block pasted from Russian or English and left untranslated shows up as
  // long rows equal to theirs.
  const LanguageBlock& ru = *Block("ru");
  const LanguageBlock& en = *Block("en");
  for (size_t b = 0; b < kLanguageCount; ++b) {
    const LanguageBlock& block = LanguageBlocks()[b];
    if (&block == &ru || &block == &en) continue;
    for (size_t i = 0; i < kMessageCount; ++i) {
      if (strlen(block.texts[i].text) < 20) continue;
      EXPECT_STRNE(block.texts[i].text, ru.texts[i].text) << block.code << " " << block.texts[i].key;
      EXPECT_STRNE(block.texts[i].text, en.texts[i].text) << block.code << " " << block.texts[i].key;
    }
  }
}

TEST(MessageTexts, WizardButtonTextsFitTheirButtons) {
  // The wizard buttons are 80 points wide: about a dozen characters.
  for (size_t b = 0; b < kLanguageCount; ++b) {
    const LanguageBlock& block = LanguageBlocks()[b];
    for (size_t i = 0; i < kMessageCount; ++i) {
      std::string key = block.texts[i].key;
      if (key.rfind("IDS_WIZARD_", 0) != 0 && key != "IDS_BROWSE_OK" && key != "IDS_BROWSE_CANCEL") continue;
      std::u16string units;
      ASSERT_TRUE(DecodeUtf8(block.texts[i].text, &units));
      EXPECT_LE(units.size(), 14u) << block.code << " " << key;
    }
  }
}

TEST(MessageLanguages, CodesAndNumbersMatchExactly) {
  const std::map<std::string, LanguageId> ids = {{"ru", 1}, {"uk", 2}, {"en", 3},  {"lv", 4},
                                                 {"lt", 5}, {"bg", 6}, {"de", 7},  {"ro", 8},
                                                 {"ka", 9}, {"kk", 10}, {"vi", 11}, {"tr", 12}};
  for (const auto& [code, id] : ids) {
    EXPECT_EQ(LanguageFromCode(ByteString(code.c_str())), id) << code;
    EXPECT_STREQ(LanguageCode(id), code.c_str());
  }
  for (const char* unknown : {"EN", "En", "", "e", "eng", "en ", " en", "xx", "us"})
    EXPECT_EQ(LanguageFromCode(ByteString(unknown)), 0) << '"' << unknown << '"';
  EXPECT_EQ(LanguageFromCode(ByteString("en\0", 3)), 0) << "the length counts";
  for (LanguageId unknown : {0, 13, -1, 100}) EXPECT_STREQ(LanguageCode(unknown), "");
}

TEST_F(MessageLookup, ExactRowsAreShippedAsGiven) {
  for (const ExactRow& row : kExactRows) {
    SetCurrentLanguage(LanguageFromCode(ByteString(row.code)));
    ASSERT_NE(CurrentLanguage(), 0) << row.code;
    EXPECT_EQ(U16(LookupMessage(row.key)), std::u16string(row.text)) << row.code << " " << row.key;
  }
}

TEST_F(MessageLookup, EveryTextRoundTripsThroughTheLocale) {
  for (const char* code : kCodes) {
    const LanguageBlock& block = *Block(code);
    SetCurrentLanguage(LanguageFromCode(ByteString(code)));
    ASSERT_EQ(CurrentLanguage(), block.id);
    for (size_t i = 0; i < kMessageCount; ++i) {
      std::u16string want;
      ASSERT_TRUE(DecodeUtf8(block.texts[i].text, &want));
      EXPECT_EQ(U16(LookupMessage(block.texts[i].key)), want) << code << " " << block.texts[i].key;
      EXPECT_EQ(LookupMessage(ByteString(block.texts[i].key)), LookupMessage(block.texts[i].key));
    }
  }
}

TEST_F(MessageLookup, SharedRowsAgreeInEveryLanguage) {
  for (const char* code : kCodes) {
    SetCurrentLanguage(LanguageFromCode(ByteString(code)));
    SCOPED_TRACE(code);
    EXPECT_FALSE(LookupMessage("IDR_MAINFRAME").empty());
    EXPECT_EQ(LookupMessage("IDR_MAINFRAME"), LookupMessage("IDS_TITLE_INSTALLER"));
    EXPECT_FALSE(LookupMessage("IDS_BROWSE_CANCEL").empty());
    EXPECT_EQ(LookupMessage("IDS_BROWSE_CANCEL"), LookupMessage("IDS_WIZARD_CANCEL"));
  }
}

TEST_F(MessageLookup, NoLanguageOrUnknownKeyGivesEmptyText) {
  const LanguageBlock& ru = *Block("ru");
  for (LanguageId unset : {0, 13, -1}) {
    SetCurrentLanguage(unset);
    for (size_t i = 0; i < kMessageCount; ++i)
      EXPECT_TRUE(LookupMessage(ru.texts[i].key).empty()) << unset << " " << ru.texts[i].key;
  }
  SetCurrentLanguage(3);
  // No fallback to the key or to another language.
  for (const char* key : {"IDS_NOSUCHKEY", "", "ids_wizard_back", "IDS_WIZARD_BACK ", "IDS_WIZARD"})
    EXPECT_TRUE(LookupMessage(key).empty()) << '"' << key << '"';
  EXPECT_TRUE(LookupMessage(static_cast<const char*>(nullptr)).empty());
  EXPECT_EQ(U16(LookupMessage("IDS_WIZARD_BACK")), u"< Back");
}

}  // namespace
}  // namespace kitsetup
