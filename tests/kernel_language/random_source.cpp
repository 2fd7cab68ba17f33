#include "random_source.h"

#include <array>
#include <utility>
#include <vector>

#include "platform/kernel_language/value_type.h"

namespace kelvo::kernel_language {
namespace {

using enum ValueType;

struct Name {
  std::string text;
  ValueType type;
  bool writable;
};

struct Callable {
  std::string name;
  ValueType result;
  std::vector<ValueType> parameters;
};

constexpr auto kValueTypes =
    std::to_array({floating, vec4, vec2, vec3, integer, boolean, floating, vec4});

class Generator {
 public:
  explicit Generator(const Choose& choose) : choose_(choose) {}

  std::string run() {
    std::string source = "const float g0 = " + floatLiteral() + "; const vec4 g1 = vec4(" +
                         floatLiteral() + ", g0, 0.5, 2);\n";
    const std::uint32_t functions = choose_(4);
    for (std::uint32_t i = 0; i < functions; ++i) source += function(i);
    names_ = globals();
    names_.push_back({"v", vec4, true});
    names_.push_back({"f", floating, true});
    names_.push_back({"n", integer, true});
    names_.push_back({"b", boolean, true});
    inKernel_ = true;
    statements_ = 14;
    result_ = vec4;
    source += "kernel vec4 k(sampler s, sampler t, vec4 v, float f, int n, bool b) {\n";
    source += "vec4 p = sample(s, samplerCoord(s));\n";
    names_.push_back({"p", vec4, true});
    source += body(3);
    return source + "return p + " + expression(vec4, 4) + ";\n}\n";
  }

 private:
  std::vector<Name> globals() { return {{"g0", floating, false}, {"g1", vec4, false}}; }

  ValueType anyType() { return kValueTypes[choose_(kValueTypes.size())]; }
  std::string pick(const std::vector<std::string>& choices) {
    return choices[choose_(static_cast<std::uint32_t>(choices.size()))];
  }
  std::string newName() { return "x" + std::to_string(counter_++); }

  std::string function(std::uint32_t index) {
    Callable callable{"f" + std::to_string(index % 2), anyType(), {}};
    names_ = globals();
    std::string parameters;
    const std::uint32_t count = 1 + choose_(3);
    for (std::uint32_t i = 0; i < count; ++i) {
      const ValueType type = anyType();
      // Ints would make calls of overloads ambiguous.
      callable.parameters.push_back(type == integer ? floating : type);
      const std::string name = newName();
      names_.push_back({name, callable.parameters.back(), true});
      parameters +=
          (i > 0 ? ", " : "") + std::string(typeName(callable.parameters.back())) + " " + name;
    }
    for (const Callable& other : callables_) {
      if (other.name == callable.name && other.parameters == callable.parameters) return {};
    }
    inKernel_ = false;
    statements_ = 6;
    result_ = callable.result;
    std::string text = std::string(typeName(callable.result)) + " " + callable.name + "(" +
                       parameters + ") {\n" + body(2) + "return " + expression(callable.result, 2) +
                       ";\n}\n";
    callables_.push_back(std::move(callable));
    return text;
  }

  std::string body(int depth) {
    std::string text;
    const std::uint32_t count = choose_(8);
    for (std::uint32_t i = 0; i < count && statements_ > 0; ++i) text += statement(depth);
    return text;
  }

  std::string block(int depth) {
    const std::vector<Name> outer = names_;
    std::string text = "{\n" + body(depth - 1) + "}";
    names_ = outer;
    return text;
  }

  std::string statement(int depth) {
    --statements_;
    switch (choose_(depth > 0 ? 9 : 5)) {
      case 0:
      case 1: {
        const ValueType type = anyType();
        const std::string value = expression(type, 3);
        const std::string name = newName();
        names_.push_back({name, type, true});
        return std::string(typeName(type)) + " " + name + " = " + value + ";\n";
      }
      case 2:
      case 3:
        return assignment(3) + ";\n";
      case 4:
        if (choose_(3) != 0) return assignment(3) + ";\n";
        return "if (" + expression(boolean, 2) + ") return " + expression(result_, 2) + ";\n";
      case 5:
        return "if (" + expression(boolean, 2) + ") " + block(depth) + "\n";
      case 6:
      case 7:
        return "if (" + expression(boolean, 2) + ") " + block(depth) + " else " + block(depth) +
               "\n";
      default:
        return block(depth) + "\n";
    }
  }

  // An assignment to some variable; all of them are expressions too.
  std::string assignment(int depth) {
    std::vector<Name> targets;
    for (const Name& name : names_) {
      if (name.writable) targets.push_back(name);
    }
    if (targets.empty()) return "0";
    const Name target = targets[choose_(static_cast<std::uint32_t>(targets.size()))];
    return assignmentTo(target, depth);
  }

  std::string assignmentTo(const Name& target, int depth) {
    if (target.type == boolean) return target.text + " = " + expression(boolean, depth);
    if (target.type == integer) {
      if (choose_(4) == 0) return pick({"++", "--"}) + target.text;
      return target.text + pick({" = ", " += ", " -= ", " *= ", " /= ", " %= "}) +
             expression(integer, depth);
    }
    std::string text = target.text;
    ValueType type = target.type;
    if (isVector(type) && choose_(3) == 0) {
      if (choose_(2) == 0) {
        text += "[" + index() + "]";
        type = floating;
      } else if (type == vec4) {
        text += pick({".rgb", ".a", ".yx", ".wzyx", ".bgr.rg"});
        type = text.ends_with(".rgb")    ? vec3
               : text.ends_with(".a")    ? floating
               : text.ends_with(".wzyx") ? vec4
                                         : vec2;
      }
    }
    if (choose_(6) == 0) return text + pick({"++", "--"});
    const std::string op = pick({" = ", " = ", " += ", " -= ", " *= ", " /= "});
    const bool byFloat = op != " = " && choose_(2) == 0;
    return text + op + expression(byFloat ? floating : type, depth);
  }

  // Literal indices beyond the vector would not compile; computed ones are limited.
  std::string index() {
    return choose_(3) == 0 ? pick({"0", "1"}) : "(" + expression(integer, 1) + " + 0)";
  }

  std::string floatLiteral() {
    return pick({"0.0", "1.0", "0.5", "2.0", "0.25", "3.7", "255.0", "1e30", "1e-40", ".1", "7"});
  }

  std::string literal(ValueType type) {
    switch (type) {
      case integer:
        return pick({"0", "1", "2", "3", "7", "1000", "2147483647"});
      case boolean:
        return pick({"true", "false"});
      case floating:
        return floatLiteral();
      default:
        return std::string(typeName(type)) + "(" + floatLiteral() + ")";
    }
  }

  std::string leaf(ValueType type) {
    std::vector<std::string> choices{literal(type)};
    for (const Name& name : names_) {
      if (name.type == type) {
        choices.insert(choices.end(), name.writable ? 4 : 1, name.text);
      } else if (type == floating && name.type == vec4) {
        choices.push_back(name.text + pick({".r", ".g", ".b", ".a"}));
      }
    }
    return pick(choices);
  }

  std::string expression(ValueType type, int depth) {
    if (depth <= 0 || choose_(8) == 0) return leaf(type);
    if (choose_(8) == 0) {
      return "(" + expression(boolean, depth - 1) + " ? " + expression(type, depth - 1) + " : " +
             expression(type, depth - 1) + ")";
    }
    if (choose_(8) == 0) {
      for (const Callable& callable : callables_) {
        if (callable.result == type && choose_(2) == 0) return callOf(callable, depth);
      }
    }
    if (choose_(10) == 0) {
      for (const Name& name : names_) {
        if (name.writable && name.type == type && (type == integer || type == boolean) &&
            choose_(2) == 0) {
          return "(" + assignmentTo(name, depth - 1) + ")";
        }
      }
    }
    switch (type) {
      case boolean:
        return booleanExpression(depth - 1);
      case integer:
        return integerExpression(depth - 1);
      case floating:
        return floatExpression(depth - 1);
      default:
        return vectorExpression(type, depth - 1);
    }
  }

  std::string callOf(const Callable& callable, int depth) {
    std::string text = callable.name + "(";
    for (std::size_t i = 0; i < callable.parameters.size(); ++i) {
      // The type must be plain, or the call could fit several functions.
      const ValueType type = callable.parameters[i];
      const std::string argument = expression(type, depth - 1);
      text += (i > 0 ? ", " : "") + (type == floating ? "float(" + argument + ")" : argument);
    }
    return text + ")";
  }

  std::string binary(ValueType left, const std::string& op, ValueType right, int depth) {
    const std::string first = expression(left, depth);
    return "(" + first + " " + op + " " + expression(right, depth) + ")";
  }

  std::string booleanExpression(int depth) {
    switch (choose_(6)) {
      case 0:
        return binary(boolean, pick({"&&", "||", "^^", "==", "!="}), boolean, depth);
      case 1:
        return "!" + expression(boolean, depth);
      case 2:
        return binary(integer, pick({"<", ">", "<=", ">=", "==", "!="}), integer, depth);
      case 3: {
        const ValueType type = pick({"2", "3", "4"}) == "2" ? vec2 : vec4;
        return binary(type, pick({"==", "!="}), type, depth);
      }
      default:
        return binary(floating, pick({"<", ">", "<=", ">=", "==", "!="}), floating, depth);
    }
  }

  std::string integerExpression(int depth) {
    switch (choose_(5)) {
      case 0:
        return "int(" + expression(floating, depth) + ")";
      case 1:
        return "int(" + expression(boolean, depth) + ")";
      case 2:
        return "(- " + expression(integer, depth) + ")";
      default:
        return binary(integer, pick({"+", "-", "*", "/", "%"}), integer, depth);
    }
  }

  std::string floatExpression(int depth) {
    switch (choose_(10)) {
      case 0:
        return "float(" + expression(pick({"i", "b"}) == "i" ? integer : boolean, depth) + ")";
      case 1:
        return "(- " + expression(floating, depth) + ")";
      case 2: {
        const ValueType type = pick({"2", "3"}) == "2" ? vec2 : vec3;
        return "length(" + expression(type, depth) + ")";
      }
      case 3:
        return call("dot", {vec4, vec4}, depth);
      case 4:
        return expression(vec4, depth) + "[" + index() + "]";
      case 5:
        return expression(vec3, depth) + pick({".x", ".g", ".p"});
      case 6:
        return componentwise(floating, depth);
      case 7:
        return binary(integer, pick({"*", "+"}), floating, depth);
      default:
        return binary(floating, pick({"+", "-", "*", "/"}), floating, depth);
    }
  }

  std::string vectorExpression(ValueType type, int depth) {
    const std::string name(typeName(type));
    switch (choose_(10)) {
      case 0:
        return name + "(" + expression(floating, depth) + ")";
      case 1:
        return name + "(" + expression(vec4, depth) + ")";
      case 2:
        if (type == vec2)
          return name + "(" + expression(integer, depth) + ", " + expression(floating, depth) + ")";
        return name + "(" + expression(type == vec3 ? floating : vec2, depth) + ", " +
               expression(vec2, depth) + ")";
      case 3:
        return componentwise(type, depth);
      case 4:
        return binary(type, pick({"+", "-", "*", "/"}), floating, depth);
      case 5:
        return binary(floating, pick({"+", "-", "*", "/"}), type, depth);
      case 6:
        return expression(vec4, depth) + (type == vec2   ? pick({".xy", ".wx", ".ss"})
                                          : type == vec3 ? pick({".rgb", ".bgr", ".wwx"})
                                                         : pick({".wzyx", ".rrgg", ".gbar"}));
      case 7:
        return special(type, depth);
      default:
        return binary(type, pick({"+", "-", "*", "/"}), type, depth);
    }
  }

  std::string special(ValueType type, int depth) {
    if (type == vec2) return inKernel_ ? pick({"destCoord()", "samplerCoord(t)"}) : "destCoord()";
    if (type == vec3) return "(- " + expression(vec3, depth) + ")";
    if (!inKernel_ || choose_(2) == 0) {
      return pick({"premultiply(", "unpremultiply("}) + expression(vec4, depth) + ")";
    }
    return pick({"sample(s, samplerCoord(t))", "sample(t, destCoord())", "samplerExtent(t)",
                 "sample(t, " + expression(vec2, depth) + ")"});
  }

  std::string call(const std::string& name, const std::vector<ValueType>& types, int depth) {
    std::string text = name + "(";
    for (std::size_t i = 0; i < types.size(); ++i) {
      text += (i > 0 ? ", " : "") + expression(types[i], depth);
    }
    return text + ")";
  }

  std::string componentwise(ValueType type, int depth) {
    switch (choose_(6)) {
      case 0:
        return call(pick({"abs", "sign", "floor", "ceil", "fract", "sqrt", "inversesqrt", "radians",
                          "degrees", "normalize"}),
                    {type}, depth);
      case 1:
        return call(pick({"min", "max", "mod", "step"}), {type, type}, depth);
      case 2:
        return call(pick({"min", "max", "mod"}), {type, floating}, depth);
      case 3:
        return call(pick({"clamp", "mix", "smoothstep", "compare"}), {type, type, type}, depth);
      case 4:
        return call("clamp", {type, floating, floating}, depth);
      default:
        return call("smoothstep", {floating, floating, type}, depth);
    }
  }

  const Choose& choose_;
  std::vector<Name> names_;
  std::vector<Callable> callables_;
  ValueType result_ = vec4;
  bool inKernel_ = false;
  int statements_ = 0;
  int counter_ = 0;
};

}  // namespace

std::string randomSource(const Choose& choose) { return Generator(choose).run(); }

}  // namespace kelvo::kernel_language
