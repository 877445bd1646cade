// The token table of the script language: reserved words, constants and built-in names.
#include <unordered_map>

#include "QfnLogger/Check.h"
#include "QfnParser/model/OMStored.h"

namespace Qfn {

namespace {

struct TokenTables {
    std::unordered_map<std::string, Token> strToToken;
    std::unordered_map<int, std::string> tokenToStr;
};

TokenTables& tokenTables()
{
    // Never destroyed: scripts may still be printed during static tear-down.
    static TokenTables* tables = new TokenTables();
    return *tables;
}

// Neither side may be present yet, which keeps the table free of duplicates.
bool defineToken(Token token, const std::string& text)
{
    TokenTables& tables = tokenTables();
    if (tables.strToToken.count(text) || tables.tokenToStr.count(static_cast<int>(token))) return false;
    tables.strToToken.emplace(text, token);
    tables.tokenToStr.emplace(static_cast<int>(token), text);
    return true;
}

bool fillTokenTables()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(defineToken(Token::_abs, "abs"));
            SANITY_CHECK(defineToken(Token::_break, "break"));
            SANITY_CHECK(defineToken(Token::_debugger, "debugger"));
            SANITY_CHECK(defineToken(Token::_dirExists, "dirExists"));
            SANITY_CHECK(defineToken(Token::_do, "do"));
            SANITY_CHECK(defineToken(Token::_else, "else"));
            SANITY_CHECK(defineToken(Token::_enquote, "enquote"));
            SANITY_CHECK(defineToken(Token::_eval, "eval"));
            SANITY_CHECK(defineToken(Token::_evalScript, "evalScript"));
            SANITY_CHECK(defineToken(Token::_exit, "exit"));
            SANITY_CHECK(defineToken(Token::_false, "false"));
            SANITY_CHECK(defineToken(Token::_fileClose, "fileClose"));
            SANITY_CHECK(defineToken(Token::_fileExists, "fileExists"));
            SANITY_CHECK(defineToken(Token::_fileOpen, "fileOpen"));
            SANITY_CHECK(defineToken(Token::_fileRead, "fileRead"));
            SANITY_CHECK(defineToken(Token::_fileWrite, "fileWrite"));
            SANITY_CHECK(defineToken(Token::_for, "for"));
            SANITY_CHECK(defineToken(Token::_function, "function"));
            SANITY_CHECK(defineToken(Token::_getEnv, "getEnv"));
            SANITY_CHECK(defineToken(Token::_if, "if"));
            SANITY_CHECK(defineToken(Token::_indexOf, "indexOf"));
            SANITY_CHECK(defineToken(Token::_isNaN, "isNaN"));
            SANITY_CHECK(defineToken(Token::_keys, "keys"));
            SANITY_CHECK(defineToken(Token::_length, "length"));
            SANITY_CHECK(defineToken(Token::_logError, "logError"));
            SANITY_CHECK(defineToken(Token::_logNote, "logNote"));
            SANITY_CHECK(defineToken(Token::_logTrace, "logTrace"));
            SANITY_CHECK(defineToken(Token::_logWarning, "logWarning"));
            SANITY_CHECK(defineToken(Token::_NaN, "NaN"));
            SANITY_CHECK(defineToken(Token::_null, "null"));
            SANITY_CHECK(defineToken(Token::_output, "output"));
            SANITY_CHECK(defineToken(Token::_parentPath, "parentPath"));
            SANITY_CHECK(defineToken(Token::_parseFloat, "parseFloat"));
            SANITY_CHECK(defineToken(Token::_parseInt, "parseInt"));
            SANITY_CHECK(defineToken(Token::_parseScript, "parseScript"));
            SANITY_CHECK(defineToken(Token::_pathSegmentFromLeft, "pathSegmentFromLeft"));
            SANITY_CHECK(defineToken(Token::_pathSegmentFromRight, "pathSegmentFromRight"));
            SANITY_CHECK(defineToken(Token::_pop, "pop"));
            SANITY_CHECK(defineToken(Token::_push, "push"));
            SANITY_CHECK(defineToken(Token::_quit, "quit"));
            SANITY_CHECK(defineToken(Token::_readFile, "readFile"));
            SANITY_CHECK(defineToken(Token::_reference, "reference"));
            SANITY_CHECK(defineToken(Token::_return, "return"));
            SANITY_CHECK(defineToken(Token::_scriptFilePath, "scriptFilePath"));
            SANITY_CHECK(defineToken(Token::_sendData, "sendData"));
            SANITY_CHECK(defineToken(Token::_setDataRequestCallBack, "setDataRequestCallBack"));
            SANITY_CHECK(defineToken(Token::_size, "size"));
            SANITY_CHECK(defineToken(Token::_sqr, "sqr"));
            SANITY_CHECK(defineToken(Token::_sqrt, "sqrt"));
            SANITY_CHECK(defineToken(Token::_stdErr, "stdErr"));
            SANITY_CHECK(defineToken(Token::_stdIn, "stdIn"));
            SANITY_CHECK(defineToken(Token::_stdOut, "stdOut"));
            SANITY_CHECK(defineToken(Token::_stringify, "stringify"));
            SANITY_CHECK(defineToken(Token::_substr, "substr"));
            SANITY_CHECK(defineToken(Token::_sysInfo, "sysInfo"));
            SANITY_CHECK(defineToken(Token::_toLowerCase, "toLowerCase"));
            SANITY_CHECK(defineToken(Token::_toString, "toString"));
            SANITY_CHECK(defineToken(Token::_toUpperCase, "toUpperCase"));
            SANITY_CHECK(defineToken(Token::_true, "true"));
            SANITY_CHECK(defineToken(Token::_typeof, "typeof"));
            SANITY_CHECK(defineToken(Token::_undefined, "undefined"));
            SANITY_CHECK(defineToken(Token::_var, "var"));
            SANITY_CHECK(defineToken(Token::_while, "while"));
            SANITY_CHECK(defineToken(Token::_writeFile, "writeFile"));
            SANITY_CHECK(defineToken(Token::_yield, "yield"));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace

// Fills the tables once; later calls only report how the first went.
bool OMStored::initTokens()
{
    static const bool filled = fillTokenTables();
    return filled;
}

Token OMStored::strToToken(const std::string& text)
{
    initTokens();
    const auto& table = tokenTables().strToToken;
    auto iter = table.find(text);
    return iter == table.end() ? Token::_none : iter->second;
}

const std::string& OMStored::tokenToStr(Token token)
{
    static const std::string none;
    initTokens();
    const auto& table = tokenTables().tokenToStr;
    auto iter = table.find(static_cast<int>(token));
    return iter == table.end() ? none : iter->second;
}

bool OMStored::isBuiltinFunctionToken(Token token)
{
    switch (token) {
        case Token::_break:
        case Token::_debugger:
        case Token::_do:
        case Token::_else:
        case Token::_false:
        case Token::_for:
        case Token::_function:
        case Token::_if:
        case Token::_NaN:
        case Token::_none:
        case Token::_null:
        case Token::_return:
        case Token::_true:
        case Token::_typeof:
        case Token::_undefined:
        case Token::_var:
        case Token::_while:
            return false;
        default:
            return !tokenToStr(token).empty();
    }
}

}  // namespace Qfn
